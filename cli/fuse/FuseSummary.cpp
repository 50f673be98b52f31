#include "cli/fuse/FuseSummary.h"

#include <cmath>
#include <cstdio>

#include "attitude/rotation/AngleConstants.h"
#include "io/recording/ResultFile.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

using OrientationInternal::kRadiansToDegrees;
using RecordingIO::Fault;

namespace {

std::string number(double value, int digits = 4) {
    char text[40];
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    return text;
}

std::string percent(double share) { return number(100.0 * share, 3) + " %"; }

std::string rowsLine(const FuseSummary& summary) {
    const RecordingIO::RecordingStatistics& statistics = summary.statistics;
    std::string text = summary.recording + ": " + RecordingIO::counted(statistics.rows(), "row") + " in " +
                       number(statistics.seconds()) + " s";
    std::string rates;
    for (const auto& channel : statistics.channels()) {
        rates += (rates.empty() ? "" : ", ") + channel.pin + " " + number(channel.rate()) + " Hz";
    }
    return text + " (" + rates + ")\n";
}

std::string lossLine(const FuseSummary& summary) {
    std::string text = "rows left out " + std::to_string(summary.faults.total());
    std::string kinds;
    for (std::size_t i = 0; i < RecordingIO::kFaultCount; ++i) {
        const auto fault = static_cast<Fault>(i);
        if (summary.faults.of(fault) == 0) continue;
        kinds += (kinds.empty() ? "" : ", ") + std::string(faultName(fault)) + " " +
                 std::to_string(summary.faults.of(fault));
    }
    if (!kinds.empty()) text += " (" + kinds + ")";
    return text + "; gaps " + std::to_string(summary.statistics.steps().gaps()) + "; samples dropped " +
           std::to_string(summary.dropped) + "\n";
}

std::string flagLine(const FuseSummary& summary) {
    std::string text;
    for (const FlagShare& flag : flagShares(summary)) {
        text += (text.empty() ? "" : "; ") + flag.name + (flag.isQuality ? " bad in " : " raised in ") +
                percent(flag.share);
    }
    return text.empty() ? text : text + " of the rows\n";
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
    return "gyroscope bias found " + number(watch.bias()->norm() * kRadiansToDegrees, 3) + " degrees/s\n";
}

std::string errorLine(const FuseSummary& summary) {
    if (!summary.errors) {
        if (!summary.hasOwnReference) return {};
        return "not compared with the reference: the attitude is in a frame of its own (--align chooses "
               "one)\n";
    }
    const RecordingIO::ErrorFigures figures = summary.errors->figures();
    if (figures.count == 0) {
        return "no row has both an attitude and a reference" +
               std::string(summary.hasOwnReference
                               ? "; --reference " + summary.recording + " takes it between its rows as well\n"
                               : "\n");
    }
    std::string text = "error against the reference: total " + number(figures.total) + ", heading " +
                       number(figures.heading) + ", tilt " + number(figures.inclination) +
                       " degrees, RMS over " + RecordingIO::counted(figures.count, "row");
    const std::string_view aligned = alignmentName(summary.errors->alignment());
    if (!aligned.empty()) text += ", " + std::string(aligned);
    return text + "\n";
}

std::string verdictLines(const FuseSummary& summary) {
    if (!summary.judged) return {};
    return "tilt: " + summary.judged->verdicts.tilt.text() +
           "\nheading: " + summary.judged->verdicts.heading.text() + "\n";
}

std::string warningLines(const FuseSummary& summary) {
    std::string text;
    for (const std::string& warning : warningsOf(summary)) {
        text += "warning: " + warning + "\n";
    }
    if (summary.silentRows > 0 && summary.watch.attitudes() > 0) {
        text += "warning: " + RecordingIO::counted(summary.silentRows, "row") + " of " +
                std::to_string(summary.statistics.rows()) + " gave no attitude: " + summary.type +
                " takes their values for no measurement\n";
    }
    return text;
}

// The motion of a field does not show its sign, only its direction does.
std::string warningOfDip(const RecordingIO::Judged& judged) {
    const double dip = judged.evidence.fieldInEarth.dip * kRadiansToDegrees;
    if (!(judged.evidence.fieldInEarth.seconds > 3.0 && dip < -10.0)) return {};
    return "the field points upwards, " + number(std::round(-dip), 3) +
           " degrees above the horizon, as it does in the southern hemisphere; elsewhere the accelerometer "
           "or "
           "the magnetometer has the wrong sign, and the result is upside down or turned by 180 degrees";
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

std::vector<std::string> warningsOf(const FuseSummary& summary) {
    std::vector<std::string> warnings = summary.statistics.warnings(summary.schema);
    const std::string dip = summary.judged && summary.hasField ? warningOfDip(*summary.judged) : "";
    if (!dip.empty()) warnings.push_back(dip);
    return warnings;
}

std::string timeText(double time) {
    char text[32];
    return {text, RecordingIO::writeNumber(text, time)};
}

std::string summaryText(const FuseSummary& summary) {
    const std::string settings = summary.settings.empty() ? "" : "settings: " + summary.settings + "\n";
    return rowsLine(summary) + summary.type + ": " +
           RecordingIO::counted(summary.watch.attitudes(), "attitude") + "\n" + settings + lossLine(summary) +
           flagLine(summary) + staticLine(summary) + biasLine(summary.watch) + errorLine(summary) +
           warningLines(summary) + verdictLines(summary);
}

}  // namespace Kavelin::Cli
