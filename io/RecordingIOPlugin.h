#pragma once

#include <Kavelin/Core/Plugin.h>

namespace Kavelin::RecordingIO {

/// The plugin object: offers the source that reads recordings, the sink that writes results, and the filters
/// that adapt them to what estimators take and give.
class RecordingIOPlugin : public Core::DefaultPlugin {
public:
    RecordingIOPlugin();
};

}  // namespace Kavelin::RecordingIO
