#pragma once

#include <Kavelin/Core/FlowManager.h>

#include <memory>
#include <optional>
#include <string>

#include "cli/CommandContext.h"
#include "cli/fuse/AttitudePlot.h"
#include "cli/fuse/ColumnTurner.h"
#include "cli/fuse/Estimator.h"
#include "cli/fuse/FieldHolder.h"
#include "cli/fuse/FuseOptions.h"
#include "cli/fuse/FuseSink.h"
#include "cli/fuse/VerdictProbe.h"
#include "evaluation/Judge.h"
#include "io/FilterCsvReader.h"

namespace Kavelin::Cli {

/// One run of `kavelin fuse`: a layout of reader, estimator, quality, static mode and sink, driven to its end
/// in the caller's thread, and what there is to say about it.
///
///     recording --3a 3g 3m--> estimator --attitude, flags--> sink --> result
///                  |--------> quality, static mode --scores-->|
class FuseRun {
public:
    /// Builds and connects everything; nothing is written yet.
    /// @throws UsageError and Poco exceptions for what cannot be used: file, type, setting, pins.
    FuseRun(const FuseOptions& options, CommandContext& context);

    /// Runs, completes the files, reports on standard error, sets the exit status.
    void run();

private:
    void setUpReader();
    void setUpEstimator();
    void setUpCompanions();
    void setUpCompanion(Core::Filter*& filter, const char* type, const char* name);
    void applySettings();
    void applySetting(const std::string& text);
    void requireSensors() const;
    void setUpErrors();
    void setUpSink();
    void connectAll();
    void connectEstimator();
    void connectCompanions();
    void connectSink();
    void setUpProbe();
    void connectProbe();
    void tell(const Core::ProcessError& error);
    void watchClipping();
    void tellWhatIsMissing();
    void tellWhatIsWrong();
    void tellPairing();
    std::optional<RecordingIO::Judged> judged() const;
    void tellWhatIsBad(const RecordingIO::Judged& judged);
    void summarise();
    std::string whyNoAttitude() const;
    std::string pinsTakenTogether() const;

    bool hasChannel(const std::string& pin) const;
    bool usesField() const;
    bool hasField() const;
    std::uint64_t completeRows() const;
    std::uint64_t silentRows() const;
    std::optional<RecordingIO::Alignment> alignment() const;
    std::uint64_t dropped() const;

    FuseOptions options_;
    CommandContext& context_;
    RecordingIO::FilterCsvReader reader_{"recording"};
    std::unique_ptr<ColumnTurner> turner_;
    FieldHolder holder_{"holder"};
    std::unique_ptr<VerdictProbe> probe_;  ///< null for an attitude that cannot be judged
    std::unique_ptr<RecordingIO::ResultFile> file_;
    std::optional<RecordingIO::AttitudeErrors> errors_;
    std::optional<RecordingIO::ReferenceTrack> track_;
    RecordingIO::Intervals intervals_;
    std::unique_ptr<FuseSink> sink_;
    std::unique_ptr<AttitudePlot> plot_;
    Estimator estimator_;
    Core::LayoutManager layout_{"fuse"};  // behind the filters that it is lent
    Core::Filter* filter_ = nullptr;
    Core::Filter* quality_ = nullptr;
    Core::Filter* static_ = nullptr;
    Core::AbstractProperty* gyroscopeRange_ = nullptr;  // of `quality_`; null where the user has set it
    double clipLevel_ = 0.0;                            // rad/s
    std::uint64_t rowsBefore_ = 0;                      // the first attitude
    bool hasEstimatorFailed_ = false;
};

}  // namespace Kavelin::Cli
