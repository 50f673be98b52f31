#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Kavelin::RecordingIO {

/// A filter that has something to do before the first row of a run and behind the last. Whoever runs layouts
/// asks each filter for it with a dynamic_cast, also across modules: hence the visibility.
class __attribute__((visibility("default"))) RunParticipant {
public:
    virtual ~RunParticipant() = default;

    /// The file that a run would write now, variables expanded: a path, "-" for standard output, or empty for
    /// none.  [any thread, the layout not running]
    virtual std::string resultFile() const { return {}; }

    /// Makes sure that the files of a run are named and that what it reads can be read; sends no row.  Raises
    /// what is wrong.  [as resultFile]
    virtual void checkRun() {}

    /// Makes sure that the run can write its files; leaves those of earlier runs as they are.  Raises what is
    /// in the way.  [as resultFile]
    virtual void prepareRun() {}

    /// Sends what waits for samples that can no longer come. What it feeds is called afterwards.
    /// [the layout not running]
    virtual void finishStream() {}

    /// Completes what the run left open: files get their names.  Raises what writing raises.  [as resultFile]
    virtual void completeRun() {}

    /// s; the time stamp of the first row that a run would send, where it is known without waiting.
    /// [as resultFile]
    virtual std::optional<double> firstTime() const { return std::nullopt; }

    /// One sentence for each thing in the data that makes results of it wrong.  [as resultFile]
    virtual std::vector<std::string> runErrors() const { return {}; }

    /// One sentence for each thing in the data that needs a person's eye.  [as resultFile]
    virtual std::vector<std::string> runNotes() const { return {}; }
};

}  // namespace Kavelin::RecordingIO
