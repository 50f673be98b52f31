#include "calibration/noise/NoiseText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "calibration/noise/NoiseFit.h"

namespace Kavelin::Calibration {

namespace {

/// "x and z", of those that are NaN
std::string missingAxes(const Eigen::Vector3d& figures) {
    std::string axes;
    for (Eigen::Index axis = 0; axis < 3; ++axis) {
        if (std::isnan(figures[axis])) axes += fmt::format("{}{}", axes.empty() ? "" : ", ", "xyz"[axis]);
    }
    return axes;
}

/// A recording has nine times the longest averaging time; four times that shows two octaves more.
double nextLength(double longest) { return std::max(600.0, 36.0 * longest); }

}  // namespace

std::string durationText(double seconds) {
    if (seconds < 120.0) return fmt::format("{:.0f} s", seconds);
    if (seconds < 7200.0) return fmt::format("{:.0f} minutes", seconds / 60.0);
    return fmt::format("{:.1f} hours", seconds / 3600.0);
}

std::string noSamples() { return "the recording has no samples of a sensor over any time"; }

std::string nothingChanges() {
    return "no sensor shows white noise: are they switched off, or their values rounded or smoothed? Record "
           "raw values";
}

std::string notStill(const std::vector<Interval>& still, const Interval& longest, const Interval& all) {
    if (all.to - all.from < kShortestStillness) {
        return fmt::format(
            "{:.3g} s are too short: leave the unit still for {:.0f} s to see white noise, for an hour to "
            "see the rest",
            all.to - all.from, kShortestStillness);
    }
    const double first = still.empty() || still.front().from - all.from > 1.0 ? all.from : still.front().to;
    return fmt::format(
        "the unit lies still for {:.3g} s at most: it moves, or samples are missing, first at {:.1f} s; "
        "{:.0f} s are needed, an hour shows more: leave it alone",
        longest.to - longest.from, first, kShortestStillness);
}

std::string partUsed(const Interval& used, const Interval& all) {
    return fmt::format(
        "only {:.1f} to {:.1f} s of {:.1f} to {:.1f} s are used: elsewhere the unit moves, or samples are "
        "missing",
        used.from, used.to, all.from, all.to);
}

std::string tooManyGaps(const char* sensor, double longest) {
    return fmt::format("{}: at most {:.3g} s without a gap while the unit is still; {:.0f} s are needed",
                       sensor, longest, kShortestStillness);
}

std::string gaps(const char* sensor, double longest) {
    return fmt::format("{}: gaps; the longest stretch without is used, {}", sensor, durationText(longest));
}

std::string irregularSteps(const char* sensor, double share) {
    return fmt::format(
        "{}: the samples come at no steady rate ({:.0f} % of the steps are off by a third or more): record "
        "at a fixed rate, or give it with --rate",
        sensor, 100.0 * share);
}

std::string noWhiteNoise(const char* sensor, const Eigen::Vector3d& figures) {
    return fmt::format(
        "{}: no white noise on {}: it is below the resolution, or the sensor's own filter hides it", sensor,
        missingAxes(figures));
}

std::string notShown(const char* sensor, const Eigen::Vector3d& instability, const Eigen::Vector3d& walk,
                     double longest) {
    std::string what;
    if (!instability.allFinite()) what = fmt::format("bias instability ({})", missingAxes(instability));
    if (!walk.allFinite()) {
        what += fmt::format("{}random walk ({})", what.empty() ? "" : " and ", missingAxes(walk));
    }
    return fmt::format(
        "{}: {} cannot be told from averaging times up to {}: leave the unit still for {} or more", sensor,
        what, durationText(longest), durationText(nextLength(longest)));
}

}  // namespace Kavelin::Calibration
