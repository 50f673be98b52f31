#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/CommandContext.h"
#include "cli/fuse/Estimator.h"
#include "cli/fuse/FuseLayout.h"
#include "cli/fuse/FuseOptions.h"
#include "cli/fuse/FuseSummary.h"
#include "cli/layout/LayoutBuilder.h"
#include "evaluation/Judge.h"
#include "io/RecordingSource.h"

namespace Kavelin::Cli {

/// What is reported on: all borrowed.
struct FusedRun {
    const FuseOptions& options;
    const Estimator& estimator;
    const FuseLayout& layout;
    const LayoutBuilder& builder;
    const ResultWatch& watch;
    std::uint64_t rowsBefore;  ///< the first attitude
};

/// What there is to say of a run of `kavelin fuse` that is over.
class FuseReport {
public:
    explicit FuseReport(const FusedRun& run);

    /// Reports on standard error what makes the result wrong, and sets the exit status then.
    void tell(CommandContext& context) const;
    /// The summary for a person, and for programs.
    std::string text() const;
    std::string json(int status) const;

    /// The verdict with its evidence; empty for an attitude that cannot be judged.
    const std::optional<RecordingIO::Judged>& judged() const { return judged_; }
    /// The comparison with the reference; null where nothing is compared.
    const RecordingIO::AttitudeErrors* errors() const;
    /// Whether something is compared, and nothing but `frame` says what the reference is relative to.
    bool isReferenceInFrame() const;

private:
    template <class Interface>
    Interface& part(const char* name) const;
    RecordingIO::RecordingSource& recording() const;
    const RecordingIO::RecordingStatistics& statistics() const;
    FuseSummary summary() const;
    std::vector<std::string> faults() const;
    std::string faultOfGravity() const;
    void tellVerdicts(CommandContext& context) const;
    std::vector<std::string> notes() const;
    std::vector<std::string> notesOf(const char* filter) const;
    std::vector<std::string> resamplerNotes() const;
    std::vector<std::string> calibrationNotes() const;
    std::string whyNoAttitude() const;
    std::uint64_t silentRows() const;
    std::uint64_t dropped() const;

    const FusedRun run_;
    std::optional<RecordingIO::Judged> judged_;
};

}  // namespace Kavelin::Cli
