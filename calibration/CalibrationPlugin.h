#pragma once

#include <Kavelin/Core/Plugin.h>

namespace Kavelin::Calibration {

/// The plugin object: offers the filter that applies a calibration.
class CalibrationPlugin : public Core::DefaultPlugin {
public:
    CalibrationPlugin();
};

}  // namespace Kavelin::Calibration
