#pragma once

#include <string>
#include <vector>

namespace Kavelin::RecordingIO {

/// A filter that has something to complete and something to say when a run is over. Whoever runs layouts asks
/// each filter for it with a dynamic_cast, also across modules: hence the visibility.
class __attribute__((visibility("default"))) EndOfRun {
public:
    virtual ~EndOfRun() = default;

    /// Completes what the run left open: files get their names.  Raises what writing raises.
    /// [any thread, the layout not running]
    virtual void completeRun() {}

    /// One sentence for each thing in the data that needs a person's eye.  [as completeRun]
    virtual std::vector<std::string> runNotes() const { return {}; }
};

}  // namespace Kavelin::RecordingIO
