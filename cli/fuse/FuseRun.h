#pragma once

#include <Kavelin/Core/FlowManager.h>

#include <memory>
#include <optional>
#include <string>

#include "cli/CommandContext.h"
#include "cli/fuse/AttitudePlot.h"
#include "cli/fuse/FuseLayout.h"
#include "cli/fuse/FuseOptions.h"
#include "cli/layout/LayoutBuilder.h"
#include "cli/layout/LayoutRun.h"
#include "io/AttitudeComparison.h"
#include "io/EarthFrame.h"
#include "io/RecordingSource.h"
#include "io/VerdictSource.h"

namespace Kavelin::Cli {

/// One run of `kavelin fuse`: makes its layout, runs it as `kavelin run` does, and reports on the result.
class FuseRun {
public:
    /// Builds and connects everything; nothing is written yet.
    /// @throws UsageError and Poco exceptions for what cannot be used: file, type, setting, pins.
    FuseRun(const FuseOptions& options, CommandContext& context);

    /// Runs, completes the files, reports on standard error, sets the exit status.
    void run();
    /// Whether the result has all rows that the run gave: it was not interrupted, and all could be written.
    bool isWhole() const { return isWhole_; }

private:
    void requireTable() const;
    void requireFrame() const;
    std::optional<RecordingIO::EarthTurn> earthTurn() const;
    std::vector<std::string> notesOf(const char* filter) const;
    std::vector<std::string> resamplerNotes() const;
    std::vector<std::string> calibrationNotes() const;
    std::optional<RecordingIO::Alignment> alignment() const;
    void build();
    void check();
    void watchResult();
    template <class Interface>
    Interface& part(const char* name) const;
    RecordingIO::RecordingSource& recording() const;
    const RecordingIO::RecordingStatistics& statistics() const;

    void tellWhatIsWrong();
    void tellWhatIsBad(const RecordingIO::Judged& judged);
    void summarise();
    std::optional<RecordingIO::Judged> judged() const;
    const RecordingIO::AttitudeErrors* errors() const;
    std::string whyNoAttitude() const;
    bool usesField() const;
    bool hasField() const;
    std::uint64_t silentRows() const;
    std::uint64_t dropped() const;

    const FuseOptions options_;
    CommandContext& context_;
    const Estimator estimator_;
    Mistakes mistakes_;
    FuseLayout layout_;
    Core::FlowManager& flow_ = Core::FlowManager::instance();
    std::unique_ptr<AttitudePlot> plot_;
    std::unique_ptr<ResultWatch> watch_;  // declared after the builder's layout, which borrows it
    LayoutBuilder builder_;
    std::uint64_t rowsBefore_ = 0;  // the first attitude
    bool isWhole_ = false;
};

}  // namespace Kavelin::Cli
