#pragma once

#include <Kavelin/Core/Plugin.h>

namespace Kavelin::RecordingIO {

/// The plugin object: offers the source that reads recordings and the sink that writes results.
class RecordingIOPlugin : public Core::DefaultPlugin {
public:
    RecordingIOPlugin();
};

}  // namespace Kavelin::RecordingIO
