#include "cli/fuse/FuseReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>

#include "cli/SettingsFile.h"
#include "cli/fuse/SummaryJson.h"
#include "io/AttitudeComparison.h"
#include "io/RunParticipant.h"
#include "io/VerdictSource.h"

namespace Kavelin::Cli {

FuseReport::FuseReport(const FusedRun& run) : run_(run) {
    if (run_.builder.find("verdict")) judged_ = part<RecordingIO::VerdictSource>("verdict").judged();
}

template <class Interface>
Interface& FuseReport::part(const char* name) const {
    return dynamic_cast<Interface&>(*run_.builder.find(name));
}

RecordingIO::RecordingSource& FuseReport::recording() const {
    return part<RecordingIO::RecordingSource>("recording");
}

const RecordingIO::RecordingStatistics& FuseReport::statistics() const { return *recording().statistics(); }

const RecordingIO::AttitudeErrors* FuseReport::errors() const {
    return run_.builder.find("errors") ? &part<RecordingIO::AttitudeComparison>("errors").errors() : nullptr;
}

bool FuseReport::isReferenceInFrame() const {
    if (errors() == nullptr || run_.options.frame.empty()) return false;
    if (run_.options.frame == "enu") return true;
    if (run_.options.memory.isReferenceUp) return false;
    if (const auto* track = part<RecordingIO::AttitudeComparison>("errors").referenceTrack())
        return !track->isEarthKnown();
    const RecordingIO::Channel* own = recording().schema()->find("quat");
    return own != nullptr && !own->isEarthKnown();
}

std::uint64_t FuseReport::silentRows() const {
    const std::uint64_t spoken = run_.rowsBefore + run_.watch.attitudes();
    const std::uint64_t complete = statistics().completeRows();
    return complete > spoken ? complete - spoken : 0;
}

void FuseReport::tell(CommandContext& context) const {
    for (const std::string& fault : faults()) {
        context.err << "kavelin: " << fault << "\n";
        context.status = kDoneWithErrors;
    }
    if (run_.watch.attitudes() == 0) {
        context.err << "kavelin: no attitude came out of " << run_.options.type << ": " << whyNoAttitude()
                    << "\n";
        context.status = kDoneWithErrors;
    }
    if (judged_) tellVerdicts(context);
}

/// Data errors that make the results wrong; reported even without a summary.
std::vector<std::string> FuseReport::faults() const {
    std::vector<std::string> errors = statistics().errors(*recording().schema());
    const std::uint64_t leftOut = recording().faults()->total();
    const std::uint64_t rows = statistics().rows() + leftOut;
    const std::uint64_t unused = leftOut + silentRows();
    if (2 * unused > rows) {
        errors.push_back(fmt::format("most rows could not be used: {} of {}", unused, rows));
    }
    if (const std::string gravity = faultOfGravity(); !gravity.empty()) errors.push_back(gravity);
    if (run_.builder.find("calibration")) {
        for (const std::string& error : part<RecordingIO::RunParticipant>("calibration").runErrors())
            errors.push_back(error);
    }
    for (std::string& error : errors) error.insert(0, run_.options.recording + ": ");
    if (run_.builder.find("errors")) {
        for (const std::string& error : part<RecordingIO::RunParticipant>("errors").runErrors())
            errors.push_back(error);
    }
    return errors;
}

std::string FuseReport::faultOfGravity() const {
    const RecordingIO::Channel* own = recording().schema()->find("quat");
    const bool isKnown = own && own->isEarthKnown();
    const bool isWrong =
        statistics().gravitySign().isAgainstAttitude() && (isKnown || run_.options.frame != "ned");
    if (!isWrong) return {};
    return fmt::format(
        "its own orientation makes the acceleration point down at rest: {}has the acceleration the opposite "
        "sign (--axes \"3a = inverted\")?",
        isKnown ? "" : "is the orientation relative to North-East-Down (then say --frame ned), or ");
}

/// The summary says it too; without a summary it is reported as an error.
void FuseReport::tellVerdicts(CommandContext& context) const {
    for (const auto& [name, verdict] :
         {std::pair("tilt", &judged_->verdicts.tilt), std::pair("heading", &judged_->verdicts.heading)}) {
        if (verdict->grade != RecordingIO::Grade::kBad) continue;
        context.status = kDoneWithErrors;
        if (!run_.options.quiet) continue;
        context.err << "kavelin: " << run_.options.recording << ": " << name << ": " << verdict->text()
                    << "\n";
    }
}

FuseSummary FuseReport::summary() const {
    const FuseOptions& options = run_.options;
    const RecordingIO::RecordingStatistics::ChannelCount* field = statistics().find("3m");
    const bool hasOwnReference = options.reference.empty() && recording().schema()->find("quat");
    return {.recording = options.recording,
            .type = options.type,
            .schema = *recording().schema(),
            .statistics = statistics(),
            .faults = *recording().faults(),
            .watch = run_.watch,
            .errors = errors(),
            .hasOwnReference = hasOwnReference,
            .dropped = dropped(),
            .settings = settingsInUse(*run_.builder.find("estimator")),
            .hasField = field && field->values > 0,
            .silentRows = silentRows(),
            .judged = judged_ ? &*judged_ : nullptr,
            .notes = notes(),
            .frame = options.frame,
            .isReferenceInFrame = isReferenceInFrame(),
            .outputRate = run_.layout.outputRate(),
            .resamplerNotes = resamplerNotes(),
            .calibration = calibrationNotes()};
}

std::string FuseReport::text() const { return summaryText(summary()); }

std::string FuseReport::json(int status) const { return summaryJson(summary(), status); }

/// What happened to the stream, and what there is to say of the table.
std::vector<std::string> FuseReport::notes() const {
    std::vector<std::string> notes = recording().liveEvents();
    for (const std::string& note : notesOf("result")) notes.push_back(note);
    return notes;
}

std::vector<std::string> FuseReport::notesOf(const char* filter) const {
    return run_.builder.find(filter) ? part<RecordingIO::RunParticipant>(filter).runNotes()
                                     : std::vector<std::string>();
}

/// What was done with the calibration, and with the mounting; nothing without them.
std::vector<std::string> FuseReport::calibrationNotes() const {
    std::vector<std::string> notes = notesOf("calibration");
    if (run_.builder.find("mount"))
        notes.push_back("the attitude is that of the segment, by " + run_.options.mount);
    return notes;
}

std::vector<std::string> FuseReport::resamplerNotes() const {
    std::vector<std::string> notes = notesOf("resample");
    if (notes.empty()) return notes;
    const auto& bag = run_.builder.find("resample")->getPropertyBag();
    notes.push_back("gaps longer than " + bag.get("Greatest gap").exactText() + " s are not bridged");
    return notes;
}

std::string FuseReport::whyNoAttitude() const {
    const auto errors = run_.builder.find("estimator")->getManager()->getErrors().getErrors();
    if (std::any_of(errors.begin(), errors.end(),
                    [](const Core::ProcessError& error) { return error.filter == "estimator"; })) {
        return "it raised the error above";
    }
    if (statistics().partialRows() > 0 && statistics().completeRows() == 0) {
        return "no row holds a value for all of " + run_.estimator.pinsTakenTogether() +
               ", which it takes together";
    }
    return "is the recording shorter than its start phase, or a sensor without values?";
}

/// Samples dropped at the table or the summary waited for an attitude that did not come:
/// no filter lacks them.
std::uint64_t FuseReport::dropped() const {
    std::uint64_t sum = 0;
    for (const Core::Filter* filter : run_.builder.find("estimator")->getManager()->getFilters()) {
        const bool isKept = run_.builder.find(filter->getName()) != filter;  // by what watches the result
        if (isKept || filter->getName() == "result") continue;
        for (const Core::AbstractInputPin* pin : filter->getInputPins()) sum += pin->getCounts().dropped;
    }
    return sum;
}

}  // namespace Kavelin::Cli
