#include "cli/fuse/FuseLayout.h"

#include <Kavelin/Core/FlowManager.h>
#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "cli/CommandContext.h"
#include "cli/batch/Recordings.h"
#include "cli/fuse/ResultColumns.h"
#include "cli/layout/PropertyValue.h"
#include "io/FilterAttitudeErrors.h"
#include "io/FilterAttitudeForm.h"
#include "io/FilterCsvWriter.h"
#include "io/FilterRangeShare.h"
#include "io/FilterResampler.h"
#include "io/FilterSampleHold.h"

namespace Kavelin::Cli {

using RecordingIO::Alignment;
using RecordingIO::Schema;
using RecordingIO::TableKind;

namespace {

const char* const kQualityType = "FilterOrientationQuality";
const char* const kStaticType = "FilterStaticMode";
// A rate that equals the limit does not count as saturated.
const char* const kAlmostAll = "0.999";

bool exists(const char* type) {
    return Core::FlowManager::instance().getPluginManager().findPluginOf(type) != nullptr;
}

const char* const kAlignmentLabels[] = {"none", "heading", "start"};

}  // namespace

double resultRate(const FuseOptions& options, const Schema& schema) {
    const bool countsPackets =
        schema.timeKind == RecordingIO::TableForm::Time::Kind::kCounter && schema.counterStep > 0.0;
    const bool hasStamps = (schema.timeColumn || schema.isByArrival) && !countsPackets;
    if (hasStamps && options.rate > 0.0 && options.outputRate > 0.0)
        throw UsageError(
            "the recording has time stamps, so --rate and --output-rate both say the rate of the "
            "result: give one of them");
    return hasStamps ? std::max(options.rate, options.outputRate) : options.outputRate;
}

TableKind resultKind(const FuseOptions& options) {
    return options.isSto ? TableKind::kSto : RecordingIO::tableKindOf(options.output);
}

FuseLayout::FuseLayout(const FuseOptions& options, const Estimator& estimator, Mistakes& mistakes)
    : EstimatorChain("fuse", "kavelin fuse " + options.recording + " --filter " + options.type, options,
                     estimator),
      settings_(options.settings) {
    addRecording(chain_, options.memory.recording ? std::string() : options.recording, options.sensor);
    addCalibration(chain_, unit());
    add("estimator", options.type);
    applySettings(mistakes);
}

std::string FuseLayout::unit() const {
    return options_.sensor.empty() ? stemOf(options_.recording) : options_.sensor;
}

void FuseLayout::complete(const Schema& schema, std::optional<Alignment> alignment, Mistakes& mistakes) {
    feedEstimator(schema);
    addQuality(schema);
    if (!options_.memory.rowsOnly || options_.scores) addStaticMode(schema);
    if (alignment) addErrors(schema, *alignment);
    addVerdict(chain_, schema);
    outputRate_ = resultRate(options_, schema);
    estimate_ = attitude_;
    attitude_ =
        addMount(chain_, unit(), attitude_);  // behind the comparison: a reference is that of the unit
    arrangeRows();
    if (!options_.memory.keepsResult) addTable();
    isWhole_ = true;
    applySettings(mistakes);
}

/// One that names no filter is the estimator's, or the recording's, where that has such a property.
void FuseLayout::applySettings(Mistakes& mistakes) {
    settings_ =
        LayoutDraft::applySettings(settings_, {options_.type, {"estimator"}, {"recording"}}, mistakes);
}

void FuseLayout::feedEstimator(const Schema& schema) {
    EstimatorChain::feedEstimator(chain_, schema);
    attitude_ = {"estimator", estimator_.attitudePin, {}};
    for (const std::string& flag : estimator_.flagPins) extras_.push_back({flag});
    if (!estimator_.stampsWithWallClock) return;
    // Results get the time of the row that brought them.
    const std::string clock = estimator_.feeds.front().from;
    FilterEntry& stamps = add("stamps", RecordingIO::FilterSampleHold::kTypeName);
    set(stamps, "Clock", clock);
    set(stamps, "Repeat", "0");
    connect(sensor(chain_, clock), {"stamps", clock, {}});
    connect(attitude_, {"stamps", "attitude", {}});
    for (const std::string& flag : estimator_.flagPins)
        connect({"estimator", flag, {}}, {"stamps", flag, {}});
    attitude_ = {"stamps", "attitude", {}};
}

Target FuseLayout::source(const std::string& extra) const {
    if (extra == "envQuality" || extra == "gestQuality") return {"quality", extra, {}};
    if (extra == "Score") return {"static", extra, {}};
    return {hasFilter("stamps") ? "stamps" : "estimator", extra, {}};
}

void FuseLayout::addQuality(const Schema& schema) {
    if (!exists(kQualityType)) return;
    extras_.insert(extras_.end(), {{"envQuality"}, {"gestQuality"}});
    // A limit set by the user is a rate, not a share of the range.
    const bool hasLimit = std::any_of(settings_.begin(), settings_.end(), [](const std::string& setting) {
        return setting.find("SaturationGyro=") != std::string::npos;
    });
    const bool hasRate = schema.find("3g") != nullptr;
    if (hasRate && !hasLimit) {
        add("range", RecordingIO::FilterRangeShare::kTypeName);
        connect(sensor(chain_, "3g"), {"range", "3g", {}}, isLent(chain_));
    }
    FilterEntry& quality = add("quality", kQualityType);
    if (!hasLimit) set(quality, "SaturationGyro", kAlmostAll);
    for (const char* pin : {"3a", "3m"})
        if (schema.find(pin)) connect(sensor(chain_, pin), {"quality", pin, {}}, isLent(chain_));
    if (!hasRate) return;
    connect(hasLimit ? sensor(chain_, "3g") : Target{"range", "share", {}}, {"quality", "3g", {}},
            isLent(chain_));
}

void FuseLayout::addStaticMode(const Schema& schema) {
    if (!exists(kStaticType)) return;
    extras_.push_back({"Score", 10});
    const bool hasField = schema.find("3m") != nullptr;
    const bool holds = hasField && schema.find("3a");
    std::string source = sensor(chain_, "3a").filter;
    if (holds) {
        // A score takes both sensors, and its reference at the first call needs both, though the magnetometer
        // may be slower.
        set(add(source = "held", RecordingIO::FilterSampleHold::kTypeName), "Clock", "3a");
        for (const char* pin : {"3a", "3m"}) connect(sensor(chain_, pin), {"held", pin, {}}, isLent(chain_));
    }
    FilterEntry& mode = add("static", kStaticType);
    // A missing sensor does not contradict rest.
    if (!hasField)
        for (const char* use : {"UseMag", "UseCosGB"}) set(mode, use, "0");
    for (const char* pin : {"3a", "3m"})
        if (schema.find(pin)) connect({source, pin, {}}, {"static", pin, {}}, isLent(chain_));
}

void FuseLayout::addErrors(const Schema& schema, Alignment alignment) {
    FilterEntry& errors = add("errors", RecordingIO::FilterAttitudeErrors::kTypeName);
    set(errors, "Alignment", kAlignmentLabels[static_cast<int>(alignment)]);
    if (!options_.memory.reference) set(errors, "Reference File", literal(options_.reference), "--reference");
    set(errors, "Movement File", literal(options_.movement), "--movement");
    if (options_.frame == "ned" && !options_.memory.isReferenceUp)
        set(errors, "Reference Frame", options_.frame, "--frame");
    if (options_.reference.empty() && schema.find("quat"))
        connect(sensor(chain_, "quat"), {"errors", "reference", {}});
    connect(attitude_, {"errors", "attitude", {}});
}

/// @param frame empty: that of the attitude
Target FuseLayout::addForm(const char* name, const Target& from, AttitudeForm form,
                           const std::string& frame) {
    set(add(name, RecordingIO::FilterAttitudeForm::kTypeName), "Frame", frame, "--frame " + frame);
    // A resampler may send several samples in one round.
    connect(from, {name, "attitude", {}}, from.filter != "resample" && isLent(chain_));
    const char* forms[] = {"quaternion", "matrix", "euler"};
    return {name, forms[static_cast<int>(form)], {}};
}

/// Flags and scores keep the newest value, and may have none.
Target FuseLayout::addResampler(const Target& from) {
    std::vector<std::string> names;
    for (const ResultWatch::Extra& extra : writtenExtras()) names.push_back(extra.name);
    FilterEntry& resampler = add("resample", RecordingIO::FilterResampler::kTypeName);
    set(resampler, "Rate", numberText(outputRate_), options_.outputRate > 0.0 ? "--output-rate" : "--rate");
    const std::string list = fmt::format("{}", fmt::join(names, ", "));
    for (const char* property : {"Newest", "Optional"}) set(resampler, property, list);
    connect(from, {"resample", "attitude", {}});
    for (const std::string& name : names) connect(source(name), {"resample", name, {}});
    return {"resample", "attitude", {}};
}

/// What the rows are made of: one for each attitude, or at a rate of their own.
void FuseLayout::arrangeRows() {
    written_ = attitude_;
    frameToGive_ = options_.frame;
    isWrittenRow_ = estimator_.isRow || written_.filter == chain_.mount;
    if (outputRate_ <= 0.0) return;
    // Only rows are interpolated as rotations.
    if (!isWrittenRow_ || !frameToGive_.empty())
        written_ = addForm("frame", written_, AttitudeForm::kQuaternion, std::exchange(frameToGive_, ""));
    isWrittenRow_ = true;
    written_ = addResampler(written_);
}

void FuseLayout::addTable() {
    table_.from = written_;
    if (options_.form != AttitudeForm::kQuaternion || !isWrittenRow_ || !frameToGive_.empty())
        table_.from = addForm("form", written_, options_.form, frameToGive_);
    const TableKind kind = resultKind(options_);
    table_.rows = rowPin(kind, options_.form);
    table_.header = kind == TableKind::kSto ? headerForOpenSim(table_.rows, options_.recording)
                                            : headerOf(table_.rows, options_.form, writtenExtras());
    if (!options_.memory.rowsOnly) addResult();
}

void FuseLayout::addResult() {
    FilterEntry& result = add("result", RecordingIO::FilterCsvWriter::kTypeName);
    const std::string option = "-o '" + options_.output + "'";
    set(result, "Rows", table_.rows);
    set(result, "Header", table_.header);
    if (options_.isSto) set(result, "Format", "sto", option);
    set(result, "File Name", literal(options_.output), option);
    connect(table_.from, {"result", table_.rows, {}});
    for (const ResultWatch::Extra& extra : writtenExtras())
        connect(writtenSource(extra.name), {"result", extra.name, {}});
}

Target FuseLayout::writtenSource(const std::string& extra) const {
    return outputRate_ > 0.0 ? Target{"resample", extra, {}} : source(extra);
}

/// A table for OpenSim holds orientations only.
std::vector<ResultWatch::Extra> FuseLayout::writtenExtras() const {
    if (resultKind(options_) == TableKind::kSto) return {};
    std::vector<ResultWatch::Extra> written = extras_;
    if (!options_.scores) std::erase_if(written, [](const auto& extra) { return extra.name == "Score"; });
    return written;
}

}  // namespace Kavelin::Cli
