#include "calibration/noise/RegularStretch.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Kavelin::Calibration {

namespace {

constexpr double kLostAtMost = 3.0;

struct Range {
    std::size_t begin = 0, end = 0;
};

/// The samples of the longest time without a step beyond `longest`.
Range longestWithoutGap(const std::vector<double>& times, Range within, double longest) {
    Range best;
    double bestDuration = -1.0;
    std::size_t begin = within.begin;
    for (std::size_t i = within.begin + 1; i <= within.end; ++i) {
        if (i < within.end && times[i] - times[i - 1] <= longest) continue;
        if (times[i - 1] - times[begin] > bestDuration) {
            bestDuration = times[i - 1] - times[begin];
            best = {begin, i};
        }
        begin = i;
    }
    return best;
}

/// Puts the samples of a range into regular ones; lost ones on a straight line.
void fill(const SensorTrack& track, const Range& range, double step, RegularStretch& stretch) {
    std::vector<Eigen::Vector3d>& values = stretch.samples.values;
    std::size_t irregular = 0;
    values.push_back(track.values[range.begin]);
    for (std::size_t i = range.begin + 1; i < range.end; ++i) {
        const double steps = (track.times[i] - track.times[i - 1]) / step;
        const double whole = std::max(1.0, std::round(steps));
        if (std::abs(steps - whole) > 1.0 / 3.0) ++irregular;
        const Eigen::Vector3d slope = (track.values[i] - track.values[i - 1]) / whole;
        for (double k = 1.0; k < whole; k += 1.0) values.push_back(track.values[i - 1] + k * slope);
        values.push_back(track.values[i]);
    }
    stretch.irregular = static_cast<double>(irregular) / static_cast<double>(range.end - range.begin);
}

}  // namespace

RegularStretch longestRegularStretch(const SensorTrack& track, const Interval& within) {
    RegularStretch stretch;
    const auto begin = std::lower_bound(track.times.begin(), track.times.end(), within.from);
    const auto end = std::upper_bound(begin, track.times.end(), within.to);
    const Range all{static_cast<std::size_t>(begin - track.times.begin()),
                    static_cast<std::size_t>(end - track.times.begin())};
    const double step = medianStep(track.times);
    if (all.end - all.begin < 2) return stretch;
    const Range range = longestWithoutGap(track.times, all, (kLostAtMost + 1.5) * step);
    if (range.end - range.begin < 2) return stretch;
    stretch.duration = track.times[range.end - 1] - track.times[range.begin];
    fill(track, range, step, stretch);
    stretch.samples.step = stretch.duration / static_cast<double>(stretch.samples.values.size() - 1);
    return stretch;
}

}  // namespace Kavelin::Calibration
