#pragma once

#include <Kavelin/Core/FlowManager.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/CommandContext.h"
#include "cli/fuse/AttitudePlot.h"
#include "cli/fuse/FuseLayout.h"
#include "cli/fuse/FuseOptions.h"
#include "cli/fuse/FuseReport.h"
#include "cli/fuse/ResultKeeper.h"
#include "cli/layout/LayoutBuilder.h"
#include "cli/layout/LayoutRun.h"
#include "io/EarthFrame.h"
#include "io/RecordingSource.h"

namespace Kavelin::Cli {

/// What a run keeps of its result in memory.
struct KeptResult {
    explicit KeptResult(const std::vector<ResultWatch::Extra>& extras) : rows("result rows", extras) {}

    RowKeeper rows;                              ///< before `turn`
    std::optional<RecordingIO::EarthTurn> turn;  ///< to the earth of the result
    SampleKeeper bias{"result bias", 3};         ///< rad/s
    /// The estimator's attitude, sensor to its frame, where that is not what the rows hold.
    std::optional<RowKeeper> estimate;
    SampleKeeper errors{"result errors", 3};  ///< rad: total, heading, tilt, the best turn not taken out
};

/// One run of `kavelin fuse`: makes its layout, and runs it as `kavelin run` does.
class FuseRun {
public:
    /// Builds and connects everything; nothing is written yet.
    /// @throws UsageError and Poco exceptions for what cannot be used: file, type, setting, pins.
    FuseRun(const FuseOptions& options, CommandContext& context);

    /// Runs, completes the files, reports on standard error, sets the exit status.
    /// @param gate in place of the pace of the options; @param watcher as in LayoutRunOptions
    void run(RoundGate* gate = nullptr, RunWatcher* watcher = nullptr);
    /// Whether the result has all rows that the run gave: it was not interrupted, and all could be written.
    bool isWhole() const { return isWhole_; }
    /// Of the run that is over.
    const FuseReport& report() const { return *report_; }

    /// What was kept; null unless the options ask for it.
    KeptResult* kept() { return kept_.get(); }
    const Estimator& estimator() const { return estimator_; }
    const LayoutBuilder& builder() const { return builder_; }
    const LayoutFile& file() { return layout_.file(); }
    RecordingIO::RecordingSource& recording() const;
    /// How the estimate is compared with a reference, as the options say; empty where it cannot be.
    std::optional<RecordingIO::Alignment> alignment() const;

private:
    void requireTable() const;
    void requireFrame() const;
    std::optional<RecordingIO::EarthTurn> earthTurn() const;
    void build();
    void openRecording();
    void check();
    void watchResult();
    void keepResult();
    void attach(const Target& from, Core::Filter& to, const std::string& pin, bool isLent) const;
    bool usesField() const;

    const FuseOptions options_;
    CommandContext& context_;
    const Estimator estimator_;
    Mistakes mistakes_;
    FuseLayout layout_;
    Core::FlowManager& flow_ = Core::FlowManager::instance();
    std::unique_ptr<AttitudePlot> plot_;
    std::unique_ptr<ResultWatch>
        watch_;  // like what is kept, declared after the builder's layout, which borrows it
    std::unique_ptr<KeptResult> kept_;
    LayoutBuilder builder_;
    std::optional<FuseReport> report_;
    std::uint64_t rowsBefore_ = 0;  // the first attitude
    bool isWhole_ = false;
};

}  // namespace Kavelin::Cli
