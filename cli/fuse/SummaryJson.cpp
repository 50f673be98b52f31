#include "cli/fuse/SummaryJson.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "attitude/rotation/AngleConstants.h"
#include "evaluation/CalibrationNeed.h"

namespace Kavelin::Cli {

using Json = nlohmann::ordered_json;
using OrientationInternal::kRadiansToDegrees;
using RecordingIO::Evidence;
using RecordingIO::Vector3;

namespace {

Json list(const Vector3& v) { return Json::array({v.x(), v.y(), v.z()}); }

Json degreesOf(const std::optional<double>& angle) {
    return angle ? Json(*angle * kRadiansToDegrees) : Json();
}

Json sensorJson(const Evidence::Sensor& sensor) {
    if (!sensor.isThere()) return {};
    Json axes = Json::array();
    for (const auto& axis : sensor.axes) {
        axes.push_back({{"clippedShare", axis.clippedShare},
                        {"limit", axis.limit},
                        {"stuckShare", axis.stuckShare},
                        {"isZero", axis.isZero}});
    }
    return {{"samples", sensor.samples},
            {"unusable", sensor.unusable},
            {"norm", sensor.norm},
            {"normDeviation", sensor.normDeviation},
            {"axes", axes}};
}

Json fitJson(const RecordingIO::MotionFitResult& fit) {
    if (fit.seconds <= 0.0) return {};
    Json axes = Json::array();
    for (int row = 0; row < 3; ++row) axes.push_back(list(fit.axes.row(row).transpose()));
    return {{"seconds", fit.seconds},
            {"explained", fit.explained},
            {"bestExplained", fit.bestExplained},
            {"bestAxes", axes},
            {"bestScale", fit.scale},
            {"bias", list(fit.bias)},
            {"biasDeviation", list(fit.biasDeviation)},
            {"norm", fit.norm},
            {"offset", list(fit.offset)},
            {"offsetDeviation", list(fit.offsetDeviation)}};
}

Json spreadJson(const RecordingIO::FieldEvidence::Spread& spread, double unit) {
    return Json::array({spread.half * unit, spread.threeQuarters * unit, spread.nineTenths * unit});
}

Json fieldJson(const RecordingIO::FieldEvidence& field) {
    if (field.seconds <= 0.0) return {};
    return {{"secondsOfMotion", field.seconds},
            {"norm", field.norm},
            {"normSpread", spreadJson(field.normSpread, 1.0)},
            {"dip", field.dip * kRadiansToDegrees},
            {"dipSpread", spreadJson(field.dipSpread, kRadiansToDegrees)},
            {"northSpread", spreadJson(field.northSpread, kRadiansToDegrees)},
            {"azimuthSpread", spreadJson(field.azimuthSpread, kRadiansToDegrees)},
            {"coverage", field.coverage},
            {"hardIron", list(field.hardIron)},
            {"hardIronDeviation", field.hardIronDeviation},
            {"scatter", field.scatter},
            {"scatterLeft", field.scatterLeft}};
}

Json normJson(const RecordingIO::NormByDirectionEvidence& norm) {
    if (norm.turned <= 0.0) return {};
    return {{"turned", norm.turned * kRadiansToDegrees},
            {"deviation", norm.deviation},
            {"explained", norm.explained}};
}

/// What the verdict rests on.
Json evidenceJson(const Evidence& evidence) {
    const auto& estimate = evidence.estimate;
    const auto vector = [](const std::optional<Vector3>& v) { return v ? list(*v) : Json(); };
    const auto share = [](const std::optional<double>& value) { return value ? Json(*value) : Json(); };
    return {{"seconds", evidence.seconds},
            {"gapSeconds", evidence.gapSeconds},
            {"longestGap", evidence.longestGap},
            {"accelerometer", sensorJson(evidence.acceleration)},
            {"gyroscope", sensorJson(evidence.rate)},
            {"magnetometer", sensorJson(evidence.field)},
            {"gyroscopeAgainstAccelerometer", fitJson(evidence.gravityFit)},
            {"gyroscopeAgainstMagnetometer", fitJson(evidence.fieldFit)},
            {"fieldInEarth", fieldJson(evidence.fieldInEarth)},
            {"normByDirection", normJson(evidence.normByDirection)},
            {"calibrationNeed", share(RecordingIO::calibrationNeed(evidence))},
            {"tiltResidual", estimate.tiltResidual * kRadiansToDegrees},
            {"headingCorrection", estimate.headingCorrection * kRadiansToDegrees},
            {"largestHeadingCorrection", estimate.largestCorrection * kRadiansToDegrees},
            {"largestHeadingCorrectionTime", estimate.largestCorrectionTime},
            {"tiltCorrection", estimate.tiltCorrection * kRadiansToDegrees},
            {"turned", estimate.turned * kRadiansToDegrees},
            {"tiltSigma", degreesOf(evidence.tiltSigma)},
            {"headingSigma", degreesOf(evidence.headingSigma)},
            {"bias", vector(evidence.bias)},
            {"hardIron", vector(evidence.hardIron)},
            {"restShare", share(evidence.restShare)},
            {"disturbedShare", share(evidence.disturbedShare)},
            {"hasBodyMagnet", evidence.hasBodyMagnet}};
}

Json verdictJson(const RecordingIO::Verdict& verdict) {
    Json findings = Json::array();
    for (const RecordingIO::Finding& finding : verdict.findings) {
        findings.push_back(
            {{"grade", gradeName(finding.grade)}, {"reason", finding.reason}, {"advice", finding.advice}});
    }
    return {{"grade", gradeName(verdict.grade)}, {"findings", findings}};
}

Json rowsJson(const FuseSummary& summary) {
    Json left = Json::object();
    for (std::size_t i = 0; i < RecordingIO::kFaultCount; ++i) {
        const auto fault = static_cast<RecordingIO::Fault>(i);
        if (summary.faults.of(fault) > 0) left[std::string(faultName(fault))] = summary.faults.of(fault);
    }
    const RecordingIO::StepMonitor& steps = summary.statistics.steps();
    Json longest;
    if (steps.gaps() > 0) longest = {{"seconds", steps.longest().length}, {"after", steps.longest().after}};
    return {{"read", summary.statistics.rows()},
            {"seconds", summary.statistics.seconds()},
            {"leftOut", summary.faults.total()},
            {"leftOutBecause", left},
            {"gaps", steps.gaps()},
            {"longestGap", longest},
            {"samplesDropped", summary.dropped},
            {"withoutAttitude", summary.silentRows}};
}

Json channelsJson(const FuseSummary& summary) {
    Json channels = Json::object();
    for (const auto& channel : summary.statistics.channels()) {
        channels[channel.pin] = {{"values", channel.values}, {"rate", channel.rate()}};
    }
    return channels;
}

Json flagsJson(const FuseSummary& summary) {
    Json flags = Json::object();
    for (const FlagShare& flag : flagShares(summary)) flags[flag.name] = flag.share;
    return flags;
}

Json errorsJson(const FuseSummary& summary) {
    if (!summary.errors) return {};
    const RecordingIO::ErrorFigures figures = summary.errors->figures();
    if (figures.count == 0) return {};
    return {{"total", figures.total},
            {"heading", figures.heading},
            {"tilt", figures.inclination},
            {"rows", figures.count},
            {"aligned", alignmentName(summary.errors->alignment())}};
}

}  // namespace

std::string evidenceText(const Evidence& evidence) { return evidenceJson(evidence).dump(); }

std::string summaryJson(const FuseSummary& summary, int status) {
    Json json = {{"recording", summary.recording},
                 {"filter", summary.type},
                 {"settings", summary.settings.empty() ? Json() : Json(summary.settings)},
                 {"status", status},
                 {"attitudes", summary.watch.attitudes()},
                 {"rows", rowsJson(summary)},
                 {"readAs", summary.schema.decisions},
                 {"packetsLost", summary.statistics.lost()},
                 {"resampledTo", summary.outputRate > 0.0 ? Json(summary.outputRate) : Json()},
                 {"channels", channelsJson(summary)},
                 {"flags", flagsJson(summary)},
                 {"staticShare", summary.watch.staticShare()},
                 {"bias", summary.watch.bias() ? list(*summary.watch.bias()) : Json()},
                 {"errors", errorsJson(summary)},
                 {"faults", summary.statistics.errors(summary.schema)},
                 {"warnings", warningsOf(summary)}};
    if (!summary.calibration.empty()) json["calibration"] = summary.calibration;
    if (summary.judged) {
        json["tilt"] = verdictJson(summary.judged->verdicts.tilt);
        json["heading"] = verdictJson(summary.judged->verdicts.heading);
        json["evidence"] = evidenceJson(summary.judged->evidence);
    } else {
        json["tilt"] = json["heading"] = json["evidence"] = nullptr;
    }
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace Kavelin::Cli
