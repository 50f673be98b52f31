#include "cli/joint/JointLayout.h"

#include <fmt/format.h>

#include "attitude/rotation/AngleConstants.h"
#include "cli/fuse/FuseLayout.h"
#include "io/FilterCsvReader.h"
#include "io/FilterCsvWriter.h"
#include "io/FilterDegrees.h"
#include "io/FilterHingeHeading.h"
#include "io/FilterResampler.h"
#include "io/FilterSegment.h"

namespace Kavelin::Cli {

using OrientationInternal::JointAlignment;
using OrientationInternal::kRadiansToDegrees;
using OrientationInternal::Quaternion;
using OrientationInternal::SegmentAlignment;

namespace {

const char* const kJointType = "FilterAngleDG";

std::string matrixText(const Quaternion& q) {
    return fmt::format("1 4 {} {} {} {}", numberText(q[0]), numberText(q[1]), numberText(q[2]),
                       numberText(q[3]));
}

std::string describe(const FuseOptions& options, const JointUnits& units) {
    return fmt::format("kavelin fuse --joint {}:{} --filter {}", units[0].name, units[1].name, options.type);
}

}  // namespace

JointLayout::JointLayout(const FuseOptions& options, const JointUnits& units, const Estimator& estimator,
                         Mistakes& mistakes)
    : EstimatorChain("joint", describe(options, units), options, estimator),
      units_(units),
      chains_{ChainNames::of(units[0].name), ChainNames::of(units[1].name)},
      segments_{"segment_" + units[0].name, "segment_" + units[1].name},
      settings_(options.settings) {
    for (const std::size_t unit : {0U, 1U}) {
        addRecording(chains_[unit], units[unit].recording, units[unit].sensor);
        addCalibration(chains_[unit], units[unit].name);
        add(chains_[unit].estimator, options.type);
    }
    applySettings(mistakes);
}

void JointLayout::completeSurvey(const Schemas& schemas, Mistakes& mistakes) {
    addPairs(0.0);
    for (const std::size_t unit : {0U, 1U}) {
        feedEstimator(chains_[unit], *schemas[unit]);
        addSegment(unit, {});
        connect(measured(chains_[unit], "3g"), {"pairs", kRatePins[unit], {}});
    }
    applySettings(mistakes);
}

void JointLayout::completeResult(const Schemas& schemas, const Found& found, Mistakes& mistakes) {
    addPairs(resultRate(options_, *schemas[0]));
    for (const std::size_t unit : {0U, 1U}) {
        feedEstimator(chains_[unit], *schemas[unit]);
        addVerdict(chains_[unit], *schemas[unit]);
        addSegment(unit, unit == 0 ? found.alignment.d : found.alignment.g);
    }
    if (found.hasHinge) addHeading();
    FilterEntry& joint = add("joint", kJointType);
    if (!found.hasPose) joint.commands.push_back({"Reference", {}});
    connect({"pairs", "D", {}}, {"joint", "D", {}});
    connect(found.hasHinge ? Target{"heading", "turned", {}} : Target{"pairs", "G", {}}, {"joint", "G", {}});
    addResult();
    applySettings(mistakes);
}

void JointLayout::addHeading() {
    add("heading", RecordingIO::FilterHingeHeading::kTypeName);
    for (const char* pin : kAttitudePins) connect({"pairs", pin, {}}, {"heading", pin, {}});
}

void JointLayout::addResult() {
    add("degrees", RecordingIO::FilterDegrees::kTypeName);
    FilterEntry& result = add("result", RecordingIO::FilterCsvWriter::kTypeName);
    set(result, "Rows", "relative");
    set(result, "Header",
        "angle = angle (deg); flexion = flexion (deg); swing = swing (deg); relative = qw, qx, qy, qz");
    set(result, "File Name", literal(options_.output), "-o '" + options_.output + "'");
    for (const auto& [from, to] : {std::pair("angle", "angle"), {"twist", "flexion"}, {"swing", "swing"}}) {
        connect({"joint", from, {}}, {"degrees", to, {}});
        connect({"degrees", to, {}}, {"result", to, {}});
    }
    connect({"joint", "relative", {}}, {"result", "relative", {}});
}

void JointLayout::addSegment(std::size_t unit, const SegmentAlignment& alignment) {
    FilterEntry& segment = add(segments_[unit], RecordingIO::FilterSegment::kTypeName);
    set(segment, "Mounting", matrixText(alignment.q_sensor_segment));
    if (alignment.heading != 0.0) set(segment, "Heading", numberText(alignment.heading * kRadiansToDegrees));
    connect({chains_[unit].estimator, estimator_.attitudePin, {}}, {segments_[unit], "attitude", {}});
    connect({segments_[unit], "segment", {}}, {"pairs", kAttitudePins[unit], {}});
}

/// Samples of both at one time, whatever their rates and clocks are.  @param rate 0: at the times of D
void JointLayout::addPairs(double rate) {
    FilterEntry& pairs = add("pairs", RecordingIO::FilterResampler::kTypeName);
    if (rate > 0.0)
        set(pairs, "Rate", numberText(rate), options_.outputRate > 0.0 ? "--output-rate" : "--rate");
    else
        set(pairs, "Clock", kAttitudePins[0]);
}

/// One that names no filter goes to both estimators or both recordings, where they have such a property.
void JointLayout::applySettings(Mistakes& mistakes) {
    settings_ = LayoutDraft::applySettings(settings_,
                                           {options_.type,
                                            {chains_[0].estimator, chains_[1].estimator},
                                            {chains_[0].recording, chains_[1].recording}},
                                           mistakes);
}

}  // namespace Kavelin::Cli
