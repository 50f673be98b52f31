#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Kavelin::RecordingIO {

/// A filter that has work to do before the first row of a run and after the last. The program that runs
/// layouts asks each filter for this with a dynamic_cast, also across modules: hence the visibility.
class __attribute__((visibility("default"))) RunParticipant {
public:
    virtual ~RunParticipant() = default;

    /// The file that a run would write now, variables expanded: a path, "-" for standard output, or empty for
    /// none.  [any thread, the layout not running]
    virtual std::string resultFile() const { return {}; }

    /// Makes sure that the files of a run are named and that what it reads can be read; sends no row.  Raises
    /// what is wrong.  [as resultFile]
    virtual void checkRun() {}

    /// Makes sure that the run can write its files; leaves those of earlier runs as they are. Raises whatever
    /// prevents it. [as resultFile]
    virtual void prepareRun() {}

    /// The run goes on from a snapshot: opens again what it had begun to write.  Raises what prevents it.
    /// [as resultFile]
    virtual void resumeRun() {}

    /// Sends what is still waiting for samples that can no longer come. The filters that it feeds are called
    /// afterwards. [the layout not running]
    virtual void finishStream() {}

    /// Completes what the run left open: files get their names.  Raises what writing raises.  [as resultFile]
    virtual void completeRun() {}

    /// s; the time stamp of the first row that a run would send, where it is known without waiting.
    /// [as resultFile]
    virtual std::optional<double> firstTime() const { return std::nullopt; }

    /// One sentence for each thing in the data that makes results of it wrong.  [as resultFile]
    virtual std::vector<std::string> runErrors() const { return {}; }

    /// One sentence for each thing in the data that needs a person's attention. [as resultFile]
    virtual std::vector<std::string> runNotes() const { return {}; }

    /// Hears at once what a person should know while the run goes on, such as a connection that is lost; what was
    /// told before anybody listened is told now.  @param listener called in any thread; empty: nobody
    virtual void setListener(std::function<void(const std::string& note)> listener) {
        static_cast<void>(listener);
    }
};

}  // namespace Kavelin::RecordingIO
