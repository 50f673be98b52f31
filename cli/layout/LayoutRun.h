#pragma once

#include <Kavelin/Core/FlowManager.h>

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <list>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "cli/fuse/ProgressBar.h"
#include "cli/layout/ActionSchedule.h"
#include "cli/layout/LayoutBuilder.h"
#include "cli/layout/RoundGate.h"

namespace Kavelin::Cli {

class Checkpoint;
class LayoutRun;
struct RunProgress;

/// Follows a run from its beginning to its end. It ends the run where Ctrl-C does otherwise.
class RunWatcher {
public:
    virtual ~RunWatcher() = default;
    /// `run` may be stopped from now on, until `ends`.  [the thread that drives the run]
    virtual void begins(LayoutRun& run) = 0;
    virtual void ends() = 0;
    /// Before each row of the sources.  [layouts' threads]
    virtual void rowBegins(const Core::LayoutManager& layout) = 0;
    // In place of lines on the stream of reports  [layouts' threads, and the one that drives the run]
    /// The first exception of its kind out of a filter.  @param line what the report says of it
    virtual void failed(const Core::ProcessError& error, const std::string& line) = 0;
    virtual void said(const std::string& text, bool isError) = 0;
};

struct LayoutRunOptions {
    bool threads = false;            ///< a thread for each layout; else all in the caller's, in turn
    bool stopOnError = false;        ///< the first exception out of a filter, or refused action, ends the run
    bool quiet = false;              ///< errors only: no summary, no notes, no drops
    bool hasProgress = true;         ///< a bar on a terminal, unless quiet
    std::string indispensable = {};  ///< a filter whose error ends the run, as its output could not be kept
    RoundGate* gate = nullptr;       ///< holds rounds back; borrowed; null: as fast as they can
    RunWatcher* watcher = nullptr;   ///< borrowed; null: Ctrl-C ends the run
    Checkpoint* checkpoint = nullptr;      ///< written as the run goes on, in one thread; borrowed
    const RunProgress* resumed = nullptr;  ///< of a run that this one goes on with; borrowed
};

/// One thing that a run said.
struct RunReport {
    std::string text;
    bool isError = false;  ///< it makes the results wrong or incomplete
};

/// Runs the layouts that a builder built to their end, with the actions at their times, and reports: each
/// distinct error once when it happens, the rest when all is over.
class LayoutRun {
public:
    /// @param err where reports go, a line each that begins with "kavelin: ". All references are borrowed.
    LayoutRun(const LayoutFile& file, LayoutBuilder& builder, Core::FlowManager& flow, std::ostream& err,
              const LayoutRunOptions& options);

    /// Runs, completes what the filters write, reports.  @return as isFine
    bool run();

    // The parts of it, for a command with a report of its own.
    void drive();
    void reportErrors();
    /// Ends the run before the next row, what was sent is completed; wakes code that waits. To be asked again as
    /// long as `drive` has not returned: a start takes back the interruption of a source. [any thread]
    void stop();
    /// Whether all went well: no error, no signal.
    bool isFine() const;
    /// Whether something that this filter did failed.
    bool hasFailed(const std::string& filter) const;
    /// All that was said, in order. [the run over]
    const std::vector<RunReport>& reports() const { return reports_; }

private:
    /// What belongs to one layout; with threads, touched by its thread alone while it runs.
    struct Lane {
        Core::LayoutManager* layout = nullptr;
        ActionSchedule* schedule = nullptr;
        std::uint64_t rounds = 0;
        double first = 0.0, last = 0.0;
    };

    void runAll();
    void prepareLanes();
    void tellFailure(const Core::ProcessError& error);
    void shareSchedules();
    Lane* laneOf(const ActionEntry& action);
    void hook(Lane& lane);
    void interruptSources();
    void listen(bool listens);
    void beforeRound(Lane& lane, double t);
    bool wantsCheckpoint() const;
    void saveCheckpoint();
    RunProgress progress() const;
    void takeUp(const RunProgress& progress);
    void endBefore(const Lane& lane);
    void passGate(double t);
    void requestStop();
    bool mustStop() const;
    void performDue(Lane& lane, double t);
    void performOverdue();
    void showProgress(const Lane& lane);
    void perform(const ActionEntry& action);
    void finishStreams();
    void complete();
    template <class Step>
    void attempt(const Core::Filter& filter, Step step);
    void fail(const std::string& text);
    void say(const std::string& text, bool isError = false);
    void reportSummary();
    void reportRepeats();
    void reportPairing();
    void reportMisfits();
    void reportDataErrors();
    void reportActions(double first, double last);
    void reportNotesAndDrops();

    const LayoutFile& file_;
    LayoutBuilder& builder_;
    Core::FlowManager& flow_;
    std::ostream& err_;
    const LayoutRunOptions options_;
    std::list<Lane> lanes_;
    std::list<ActionSchedule> schedules_;
    ProgressBar progress_;  // guarded by reportMutex_
    std::mutex reportMutex_;
    std::vector<RunReport> reports_;  // guarded by it
    std::atomic<bool> stop_{false};
    bool hasCheckpointed_ = false;            // where the run was stopped
    std::set<std::string> failed_;            // filters whose part in starting or completing the run failed
    std::atomic<std::uint64_t> failures_{0};  // in addition to those in the layouts' logs
};

}  // namespace Kavelin::Cli
