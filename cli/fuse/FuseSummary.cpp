#include "cli/fuse/FuseSummary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "attitude/rotation/AngleConstants.h"
#include "evaluation/CalibrationNeed.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

using OrientationInternal::kRadiansToDegrees;
using RecordingIO::counted;
using RecordingIO::Fault;

namespace {

// What the reader says of the rate that resamples the result.
const char* const kRateNotUsed = "the rate given is not used";

std::string percent(double share) { return fmt::format("{:.3g} %", 100.0 * share); }

std::string rowsLine(const FuseSummary& summary) {
    const RecordingIO::RecordingStatistics& statistics = summary.statistics;
    std::vector<std::string> rates;
    for (const auto& channel : statistics.channels())
        rates.push_back(fmt::format("{} {:.4g} Hz", channel.pin, channel.rate()));
    return fmt::format("{}: {} in {:.4g} s ({})\n", summary.recording, counted(statistics.rows(), "row"),
                       statistics.seconds(), fmt::join(rates, ", "));
}

/// What was decided on the way in; nothing for a plain table.
std::string decisionsLine(const FuseSummary& summary) {
    std::vector<std::string> decisions = summary.schema.decisions;
    if (const std::uint64_t lost = summary.statistics.lost(); lost > 0)
        decisions.push_back(counted(lost, "packet") + " lost");
    return decisions.empty() ? "" : fmt::format("read as: {}\n", fmt::join(decisions, ", "));
}

/// What the file says of the unit, and what is done with it.
std::string calibrationLines(const FuseSummary& summary) {
    return summary.calibration.empty()
               ? ""
               : fmt::format("calibration: {}\n", fmt::join(summary.calibration, "; "));
}

std::string lossLine(const FuseSummary& summary) {
    std::vector<std::string> kinds;
    for (std::size_t i = 0; i < RecordingIO::kFaultCount; ++i) {
        const auto fault = static_cast<Fault>(i);
        if (const auto count = summary.faults.of(fault); count > 0)
            kinds.push_back(fmt::format("{} {}", faultName(fault), count));
    }
    return fmt::format("rows left out {}{}; gaps {}; samples dropped {}\n", summary.faults.total(),
                       kinds.empty() ? "" : fmt::format(" ({})", fmt::join(kinds, ", ")),
                       summary.statistics.steps().gaps(), summary.dropped);
}

std::string frameLine(const FuseSummary& summary) {
    if (summary.frame.empty()) return {};
    const char* name = summary.frame == "ned" ? "North-East-Down" : "East-North-Up";
    return fmt::format("the result is relative to {}{}\n", name,
                       summary.isReferenceInFrame ? ", and the reference is taken as that too" : "");
}

/// Whichever option said it.
std::string rateLine(const FuseSummary& summary) {
    if (summary.outputRate <= 0.0) return {};
    std::vector<std::string> parts = summary.resamplerNotes;
    parts.insert(parts.begin(), fmt::format("the result is resampled to {:.6g} Hz", summary.outputRate));
    return fmt::format("{}\n", fmt::join(parts, "; "));
}

std::string flagLine(const FuseSummary& summary) {
    std::vector<std::string> flags;
    for (const FlagShare& flag : flagShares(summary))
        flags.push_back(flag.name + (flag.isQuality ? " bad in " : " raised in ") + percent(flag.share));
    return flags.empty() ? "" : fmt::format("{} of the rows\n", fmt::join(flags, "; "));
}

/// The static score compares with the first samples; it does not detect rest,
/// as a turn may change neither sensor.
std::string staticLine(const FuseSummary& summary) {
    const double share = summary.watch.staticShare();
    if (!std::isfinite(share)) return {};
    return std::string(summary.hasField ? "acceleration and field" : "acceleration's magnitude") +
           " as at the start in " + percent(share) + " of the time (static score)\n";
}

std::string biasLine(const ResultWatch& watch) {
    if (!watch.bias()) return {};
    return fmt::format("gyroscope bias found {:.3g} degrees/s\n", watch.bias()->norm() * kRadiansToDegrees);
}

std::string errorLine(const FuseSummary& summary) {
    if (!summary.errors) {
        if (!summary.hasOwnReference) return {};
        return "not compared with the reference: the attitude is in a frame of its own (--align chooses "
               "one)\n";
    }
    if (summary.errors->figures().count > 0) return summary.errors->figuresText() + "\n";
    return "no row has both an attitude and a reference" +
           (summary.hasOwnReference
                ? "; --reference " + summary.recording + " takes it between its rows as well\n"
                : "\n");
}

std::string verdictLines(const FuseSummary& summary) {
    if (!summary.judged) return {};
    const RecordingIO::Verdicts& verdicts = summary.judged->verdicts;
    return fmt::format("tilt: {}\nheading: {}\n", verdicts.tilt.text(), verdicts.heading.text());
}

std::string warningLines(const FuseSummary& summary) {
    std::string text;
    for (const std::string& warning : warningsOf(summary)) text += "warning: " + warning + "\n";
    if (summary.silentRows > 0 && summary.watch.attitudes() > 0) {
        text += fmt::format("warning: {} of {} gave no attitude: {} takes their values for no measurement\n",
                            counted(summary.silentRows, "row"), summary.statistics.rows(), summary.type);
    }
    return text;
}

// The motion of a field does not show its sign, only its direction does.
std::string warningOfDip(const RecordingIO::Judged& judged) {
    const double dip = judged.evidence.fieldInEarth.dip * kRadiansToDegrees;
    if (!(judged.evidence.fieldInEarth.seconds > 3.0 && dip < -10.0)) return {};
    return fmt::format(
        "the field points upwards, {:.3g} degrees above the horizon, as it does in the southern "
        "hemisphere; elsewhere the accelerometer or the magnetometer has the wrong sign, and the result is "
        "upside down or turned by 180 degrees",
        std::round(-dip));
}

std::string warningOfIron(double share, bool isCalibrated) {
    const std::string seen =
        fmt::format("the field changes with the direction of the unit by {:.0f} %", 100.0 * share);
    return isCalibrated ? "the magnetometer looks uncalibrated though a calibration is applied: " + seen +
                              "; is it the calibration of this unit, as it is now?"
                        : "the magnetometer looks uncalibrated: " + seen +
                              "; record a turn through all directions, kavelin calibrate mag RECORDING -o "
                              "cal.json, and "
                              "add --calibration cal.json";
}

}  // namespace

std::vector<FlagShare> flagShares(const FuseSummary& summary) {
    const ResultWatch& watch = summary.watch;
    std::vector<FlagShare> shares;
    for (std::size_t i = 0; i < watch.extras().size(); ++i) {
        const std::string& name = watch.extras()[i].name;
        const ResultWatch::Count& count = watch.count(i);
        if (name == "Score" || count.sent == 0 || (name.starts_with("flag_mag") && !summary.hasField))
            continue;
        const bool isQuality = name.ends_with("Quality");
        const double rows = static_cast<double>(isQuality ? count.sent - count.raised : count.raised);
        shares.push_back({name, rows / static_cast<double>(count.sent), isQuality});
    }
    return shares;
}

std::optional<double> ironShare(const FuseSummary& summary) {
    if (!summary.judged || !summary.hasField) return std::nullopt;
    return RecordingIO::calibrationNeed(summary.judged->evidence);
}

std::vector<std::string> warningsOf(const FuseSummary& summary) {
    std::vector<std::string> warnings = summary.statistics.warnings(summary.schema);
    if (summary.outputRate > 0.0)
        std::erase_if(warnings, [](const std::string& one) { return one.starts_with(kRateNotUsed); });
    const std::optional<double> share = ironShare(summary);
    const bool isRaw = share || !summary.calibration.empty();
    const std::string field = isRaw ? "" : summary.statistics.warningOfField();
    if (!field.empty()) warnings.push_back(field);
    const std::string dip = summary.judged && summary.hasField && !share ? warningOfDip(*summary.judged) : "";
    if (!dip.empty()) warnings.push_back(dip);
    const bool isCalibrated = std::ranges::any_of(
        summary.calibration, [](const std::string& note) { return note.find("3m") != std::string::npos; });
    if (share) warnings.push_back(warningOfIron(*share, isCalibrated));
    warnings.insert(warnings.end(), summary.notes.begin(), summary.notes.end());
    return warnings;
}

std::string summaryText(const FuseSummary& summary) {
    const std::string settings = summary.settings.empty() ? "" : "settings: " + summary.settings + "\n";
    return rowsLine(summary) + decisionsLine(summary) + calibrationLines(summary) + summary.type + ": " +
           counted(summary.watch.attitudes(), "attitude") + "\n" + settings + lossLine(summary) +
           frameLine(summary) + rateLine(summary) + flagLine(summary) + staticLine(summary) +
           biasLine(summary.watch) + errorLine(summary) + warningLines(summary) + verdictLines(summary);
}

}  // namespace Kavelin::Cli
