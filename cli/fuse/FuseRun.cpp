#include "cli/fuse/FuseRun.h"

#include <Kavelin/Core/ConnectionOptions.h>
#include <Poco/Exception.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <ostream>

#include "cli/Interruption.h"
#include "cli/PaceOption.h"
#include "cli/SettingsFile.h"
#include "cli/WholeFile.h"
#include "cli/fuse/FuseSummary.h"
#include "cli/fuse/SummaryJson.h"
#include "cli/fuse/UnitFiles.h"
#include "io/AttitudeFrame.h"
#include "io/EarthFrame.h"
#include "io/RunParticipant.h"
#include "io/recording/ResultFile.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

using RecordingIO::Alignment;
using RecordingIO::counted;

FuseRun::FuseRun(const FuseOptions& options, CommandContext& context)
    : options_(options),
      context_(context),
      estimator_(describeEstimator(options_.type)),
      layout_(options_, estimator_, mistakes_),
      builder_(layout_.file(), flow_, mistakes_) {
    build();
    check();
    if (!options_.plot.empty()) {
        const auto turn = earthTurn();
        plot_ = std::make_unique<AttitudePlot>(options_.plot, options_.recording,
                                               turn ? std::optional(turn->quaternion) : std::nullopt);
    }
    watchResult();
    builder_.activateCommands();
    builder_.prepareRun();
    requireNoMistake(mistakes_);
}

/// The rest depends on what the recording holds.
void FuseRun::build() {
    requireNoMistake(mistakes_);
    requireTable();
    requireFrame();
    builder_.build();
    requireNoMistake(mistakes_);
    requirePaceable(options_.pace, flow_);
    recording().open();
    const RecordingIO::Schema& schema = *recording().schema();
    requireSensors(schema, estimator_, options_.type, options_.recording);
    const bool hasReference = !options_.reference.empty() || schema.find("quat");
    if (!options_.movement.empty() && !hasReference) {
        throw UsageError("--movement says where errors count, but there is no reference: " +
                         options_.recording + " has no quaternion, and no --reference is given");
    }
    layout_.complete(schema, hasReference ? alignment() : std::nullopt, mistakes_);
    builder_.build();
    requireNoMistake(mistakes_);
}

template <class Interface>
Interface& FuseRun::part(const char* name) const {
    return dynamic_cast<Interface&>(*builder_.find(name));
}

RecordingIO::RecordingSource& FuseRun::recording() const {
    return part<RecordingIO::RecordingSource>("recording");
}

const RecordingIO::RecordingStatistics& FuseRun::statistics() const { return *recording().statistics(); }

std::optional<Alignment> FuseRun::alignment() const {
    if (options_.alignment == "none") return Alignment::kNone;
    if (options_.alignment == "heading") return Alignment::kHeading;
    if (options_.alignment == "start") return Alignment::kStart;
    const std::optional<Alignment> own = RecordingIO::alignmentOf(estimator_.frame);
    // Without a field even an absolute heading is arbitrary.
    return own == Alignment::kNone && !usesField() ? Alignment::kHeading : own;
}

void FuseRun::requireTable() const {
    if (options_.output.empty()) throw UsageError("-o '': a file name is expected, or - for standard output");
    try {
        const RecordingIO::TableKind kind = resultKind(options_);
        RecordingIO::requireFit(kind, options_.output, {});
        if (kind == RecordingIO::TableKind::kSto && options_.form != AttitudeForm::kQuaternion)
            throw UsageError("--as: a .sto file holds quaternions, neither matrices nor angles");
    } catch (const Poco::InvalidArgumentException& refusal) {
        throw UsageError("-o " + refusal.message());
    }
}

void FuseRun::requireFrame() const {
    if (options_.frame.empty() || earthTurn()) return;
    const std::string own(estimator_.frame);
    throw UsageError(fmt::format(
        "--frame {}: the attitude of {} is {}", options_.frame, options_.type,
        own.empty() ? "in a frame that it does not declare" : "\"" + own + "\", not relative to the earth"));
}

/// From the frame of the estimator to that of what is written.
std::optional<RecordingIO::EarthTurn> FuseRun::earthTurn() const {
    return RecordingIO::earthTurn(estimator_.frame, RecordingIO::earthFrameCalled(options_.frame));
}

/// Nothing else may use the files that the run writes.
void FuseRun::check() {
    if (options_.summary == "-") throw UsageError("--summary -: a file name is expected");
    std::vector<FileUse> written;
    for (const auto& [option, file] : {std::pair("--plot", options_.plot),
                                       {"--summary", options_.summary},
                                       {"--save-layout", options_.saveLayout}}) {
        if (!file.empty())
            written.push_back({option, "", file, true, {.option = std::string(option) + " '" + file + "'"}});
    }
    if (!options_.mount.empty())
        written.push_back(
            {"--mount", "", UnitFiles("--mount", options_.mount).of(layout_.unit()), false, {}});
    builder_.check(written);
    requireNoMistake(mistakes_);
    for (const std::string& file : {options_.summary, options_.saveLayout})
        if (!file.empty()) RecordingIO::ResultFile::requireWritable(file);
}

/// Adds to the built layout what only this program needs.
void FuseRun::watchResult() {
    watch_ = std::make_unique<ResultWatch>("summary", layout_.extras());
    builder_.find("estimator")->getManager()->add(*watch_);
    const auto connect = [this](const Target& from, const std::string& to) {
        Core::Filter* filter = builder_.find(from.filter);
        Core::AbstractOutputPin* pin = filter ? filter->findOutputPin(from.element) : nullptr;
        // It takes what a round brings in that round: lent, not copied, where that is one sample.
        Core::ConnectionOptions lent;
        if (layout_.bringsOneSampleARound()) lent.bufferSize = 1;
        if (pin) Core::connect(*pin, watch_->getInputPin(to), lent);
    };
    connect(layout_.attitude(), "attitude");
    if (!options_.quiet || plot_ || !options_.summary.empty()) {
        for (const ResultWatch::Extra& extra : layout_.extras())
            connect(layout_.source(extra.name), extra.name);
        connect({"estimator", "3g_bias", {}}, "3g_bias");
    }
    if (plot_) connect({"errors", "errors", {}}, "errors");
    watch_->setObserver([this](const ResultWatch& watch) {
        if (watch.attitudes() == 1) rowsBefore_ = statistics().completeRows() - 1;
        if (plot_) plot_->add(watch);
    });
}

void FuseRun::run() {
    if (!options_.saveLayout.empty()) builder_.save(options_.saveLayout);
    // Rows and the bar on one terminal would run into each other.
    const bool rowsAreSeen = options_.output == "-" && ::isatty(STDOUT_FILENO) == 1;
    context_.out.flush();
    RoundGate gate(options_.pace);
    LayoutRun run(layout_.file(), builder_, flow_, context_.err,
                  {.stopOnError = options_.stopOnError,
                   .quiet = options_.quiet,
                   .hasProgress = !rowsAreSeen,
                   .indispensable = "result",
                   .gate = options_.pace != kFullPace ? &gate : nullptr});
    run.drive();
    run.reportErrors();
    isWhole_ = !Interruption::hasCome() && !run.hasFailed("result");
    if (!run.isFine()) context_.status = kDoneWithErrors;
    tellWhatIsWrong();
    summarise();
    if (plot_) plot_->draw(errors() ? errors()->turn() : 0.0);
}

std::uint64_t FuseRun::silentRows() const {
    const std::uint64_t spoken = rowsBefore_ + watch_->attitudes();
    const std::uint64_t complete = statistics().completeRows();
    return complete > spoken ? complete - spoken : 0;
}

/// Data errors that make the results wrong; reported even without a summary.
void FuseRun::tellWhatIsWrong() {
    std::vector<std::string> errors = statistics().errors(*recording().schema());
    const std::uint64_t faults = recording().faults()->total();
    const std::uint64_t rows = statistics().rows() + faults;
    const std::uint64_t unused = faults + silentRows();
    if (2 * unused > rows) {
        errors.push_back(fmt::format("most rows could not be used: {} of {}", unused, rows));
    }
    const RecordingIO::Channel* own = recording().schema()->find("quat");
    const bool isKnown = own && own->isEarthKnown();
    if (statistics().gravitySign().isAgainstAttitude() && (isKnown || options_.frame != "ned")) {
        errors.push_back(fmt::format(
            "its own orientation makes the acceleration point down at rest: {}has the acceleration the "
            "opposite sign "
            "(--axes \"3a = inverted\")?",
            isKnown ? "" : "is the orientation relative to North-East-Down (then say --frame ned), or "));
    }
    if (builder_.find("calibration")) {
        for (const std::string& error : part<RecordingIO::RunParticipant>("calibration").runErrors())
            errors.push_back(error);
    }
    for (std::string& error : errors) error.insert(0, options_.recording + ": ");
    if (builder_.find("errors")) {
        for (const std::string& error : part<RecordingIO::RunParticipant>("errors").runErrors())
            errors.push_back(error);
    }
    for (const std::string& error : errors) {
        context_.err << "kavelin: " << error << "\n";
        context_.status = kDoneWithErrors;
    }
}

bool FuseRun::usesField() const {
    const Core::AbstractProperty* use = builder_.find("estimator")->getPropertyBag().find("Use 3m");
    return estimator_.uses("3m") && recording().schema()->find("3m") && (!use || use->exactText() != "0");
}

bool FuseRun::hasField() const {
    const RecordingIO::RecordingStatistics::ChannelCount* field = statistics().find("3m");
    return field && field->values > 0;
}

std::optional<RecordingIO::Judged> FuseRun::judged() const {
    if (!builder_.find("verdict")) return std::nullopt;
    return part<RecordingIO::VerdictSource>("verdict").judged();
}

/// The summary says it too; without a summary it is reported as an error.
void FuseRun::tellWhatIsBad(const RecordingIO::Judged& judged) {
    for (const auto& [name, verdict] :
         {std::pair("tilt", &judged.verdicts.tilt), std::pair("heading", &judged.verdicts.heading)}) {
        if (verdict->grade != RecordingIO::Grade::kBad) continue;
        context_.status = kDoneWithErrors;
        if (options_.quiet) {
            context_.err << "kavelin: " << options_.recording << ": " << name << ": " << verdict->text()
                         << "\n";
        }
    }
}

const RecordingIO::AttitudeErrors* FuseRun::errors() const {
    return builder_.find("errors") ? &part<RecordingIO::AttitudeComparison>("errors").errors() : nullptr;
}

void FuseRun::summarise() {
    if (watch_->attitudes() == 0) {
        context_.err << "kavelin: no attitude came out of " << options_.type << ": " << whyNoAttitude()
                     << "\n";
        context_.status = kDoneWithErrors;
    }
    const std::optional<RecordingIO::Judged> judged = this->judged();
    if (judged) tellWhatIsBad(*judged);
    const bool hasOwnReference = options_.reference.empty() && recording().schema()->find("quat");
    const FuseSummary summary{.recording = options_.recording,
                              .type = options_.type,
                              .schema = *recording().schema(),
                              .statistics = statistics(),
                              .faults = *recording().faults(),
                              .watch = *watch_,
                              .errors = errors(),
                              .hasOwnReference = hasOwnReference,
                              .dropped = dropped(),
                              .settings = settingsInUse(*builder_.find("estimator")),
                              .hasField = hasField(),
                              .silentRows = silentRows(),
                              .judged = judged ? &*judged : nullptr,
                              .notes = notesOf("result"),
                              .frame = options_.frame,
                              .outputRate = layout_.outputRate(),
                              .resamplerNotes = resamplerNotes(),
                              .calibration = calibrationNotes()};
    if (!options_.quiet) context_.err << summaryText(summary) << std::flush;
    if (!options_.summary.empty()) writeWholeFile(options_.summary, summaryJson(summary, context_.status));
}

std::vector<std::string> FuseRun::notesOf(const char* filter) const {
    return builder_.find(filter) ? part<RecordingIO::RunParticipant>(filter).runNotes()
                                 : std::vector<std::string>();
}

/// What was done with the calibration, and with the mounting; nothing without them.
std::vector<std::string> FuseRun::calibrationNotes() const {
    std::vector<std::string> notes = notesOf("calibration");
    if (builder_.find("mount")) notes.push_back("the attitude is that of the segment, by " + options_.mount);
    return notes;
}

std::vector<std::string> FuseRun::resamplerNotes() const {
    std::vector<std::string> notes = notesOf("resample");
    if (notes.empty()) return notes;
    const auto& bag = builder_.find("resample")->getPropertyBag();
    notes.push_back("gaps longer than " + bag.get("Greatest gap").exactText() + " s are not bridged");
    return notes;
}

std::string FuseRun::whyNoAttitude() const {
    const auto errors = builder_.find("estimator")->getManager()->getErrors().getErrors();
    if (std::any_of(errors.begin(), errors.end(),
                    [](const Core::ProcessError& error) { return error.filter == "estimator"; })) {
        return "it raised the error above";
    }
    if (statistics().partialRows() > 0 && statistics().completeRows() == 0) {
        return "no row holds a value for all of " + estimator_.pinsTakenTogether() +
               ", which it takes together";
    }
    return "is the recording shorter than its start phase, or a sensor without values?";
}

/// Samples dropped at the table or the summary waited for an attitude that did not come:
/// no filter lacks them.
std::uint64_t FuseRun::dropped() const {
    std::uint64_t sum = 0;
    for (const Core::Filter* filter : builder_.find("estimator")->getManager()->getFilters()) {
        if (filter == watch_.get() || filter->getName() == "result") continue;
        for (const Core::AbstractInputPin* pin : filter->getInputPins()) sum += pin->getCounts().dropped;
    }
    return sum;
}

}  // namespace Kavelin::Cli
