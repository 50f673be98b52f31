#include "calibration/rest/StillTimes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

namespace Kavelin::Calibration {

namespace {

constexpr double kNoSpread = std::numeric_limits<double>::infinity();
constexpr std::size_t kFewestInWindow = 4;

/// Sums over the samples of a window that moves on. The values are taken from their mean, so that the
/// difference of the sums keeps its digits.
struct WindowSums {
    Eigen::Vector3d sum = Eigen::Vector3d::Zero();
    double squares = 0.0;
    std::size_t count = 0;

    void add(const Eigen::Vector3d& v) {
        sum += v;
        squares += v.squaredNorm();
        ++count;
    }
    void remove(const Eigen::Vector3d& v) {
        sum -= v;
        squares -= v.squaredNorm();
        --count;
    }
    double spread() const {
        if (count < kFewestInWindow) return kNoSpread;
        const auto n = static_cast<double>(count);
        return std::sqrt(std::max(0.0, squares / n - (sum / n).squaredNorm()) / 3.0);
    }
};

/// The windows around each sample of a track.
struct Windows {
    explicit Windows(std::size_t samples) : spreads(samples), means(samples) {}
    std::vector<double> spreads;
    std::vector<Eigen::Vector3d> means;
};

/// The windows around each sample of one stretch without gaps.
void fillStretch(const SensorTrack& track, std::size_t begin, std::size_t end, double window,
                 Windows& windows) {
    const Eigen::Vector3d origin = track.values[begin];
    WindowSums sums;
    std::size_t first = begin, last = begin;
    for (std::size_t i = begin; i < end; ++i) {
        while (last < end && track.times[last] <= track.times[i] + 0.5 * window) {
            sums.add(track.values[last++] - origin);
        }
        while (track.times[first] < track.times[i] - 0.5 * window) {
            sums.remove(track.values[first++] - origin);
        }
        windows.spreads[i] = sums.spread();
        windows.means[i] = origin + sums.sum / static_cast<double>(sums.count);
    }
}

/// Calls `use(begin, end)` for each stretch of samples without gaps.
template <typename Use>
void eachStretch(const std::vector<double>& times, Use use) {
    const double longest = longestStep(times);
    std::size_t begin = 0;
    for (std::size_t i = 1; i <= times.size(); ++i) {
        if (i < times.size() && times[i] - times[i - 1] <= longest) continue;
        use(begin, i);
        begin = i;
    }
}

double valueAt(std::vector<double> values, std::size_t oneIn) {
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(values.size() / oneIn);
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

std::vector<bool> steadyWindows(const Windows& windows, const StillnessLimits& limits) {
    constexpr std::size_t kOneIn = 20;  // a rest of a few seconds in a minute is enough to know the noise
    const double noise = valueAt(windows.spreads, kOneIn);
    const double limit = std::clamp(limits.noiseFactor * noise, limits.least, limits.greatest);
    std::vector<bool> isStill(windows.spreads.size());
    for (std::size_t i = 0; i < isStill.size(); ++i) isStill[i] = windows.spreads[i] <= limit;
    return isStill;
}

/// Takes from `isStill` the windows whose mean is not that of most.
void dropSlowTurns(const Windows& windows, const StillnessLimits& limits, std::vector<bool>& isStill) {
    constexpr double kScale = 5.0 * 1.4826;  // five standard deviations, from the median distance
    for (Eigen::Index axis = 0; axis < 3; ++axis) {
        std::vector<double> values;
        for (std::size_t i = 0; i < isStill.size(); ++i) {
            if (isStill[i]) values.push_back(windows.means[i][axis]);
        }
        if (values.empty()) return;
        const double median = valueAt(values, 2);
        for (double& value : values) value = std::abs(value - median);
        const double limit =
            std::clamp(kScale * valueAt(std::move(values), 2), limits.leastDrift, limits.greatestDrift);
        for (std::size_t i = 0; i < isStill.size(); ++i) {
            isStill[i] = isStill[i] && std::abs(windows.means[i][axis] - median) <= limit;
        }
    }
}

}  // namespace

double medianStep(const std::vector<double>& times) {
    if (times.size() < 2) return 0.0;
    std::vector<double> steps(times.size() - 1);
    for (std::size_t i = 0; i < steps.size(); ++i) steps[i] = times[i + 1] - times[i];
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    return *middle;
}

double longestStep(const std::vector<double>& times) {
    constexpr double kSteps = 5.0;     // a few lost samples are bridged
    constexpr double kShortest = 0.1;  // s
    return std::max(kShortest, kSteps * medianStep(times));
}

std::vector<Interval> findStillTimes(const SensorTrack& track, const StillnessLimits& limits) {
    if (track.isEmpty()) return {};
    const double window =
        std::max(limits.window, 2.0 * static_cast<double>(kFewestInWindow) * medianStep(track.times));
    Windows windows(track.size());
    eachStretch(track.times,
                [&](std::size_t begin, std::size_t end) { fillStretch(track, begin, end, window, windows); });
    std::vector<bool> isStill = steadyWindows(windows, limits);
    if (limits.isAlike) dropSlowTurns(windows, limits, isStill);
    std::vector<Interval> still;
    eachStretch(track.times, [&](std::size_t begin, std::size_t end) {
        bool isOpen = false;
        for (std::size_t i = begin; i < end; ++i) {
            if (isStill[i] && !isOpen) still.push_back({track.times[i], track.times[i]});
            if (isStill[i]) still.back().to = track.times[i];
            isOpen = isStill[i];
        }
    });
    return still;
}

std::vector<Interval> common(const std::vector<Interval>& one, const std::vector<Interval>& other) {
    std::vector<Interval> both;
    for (std::size_t i = 0, j = 0; i < one.size() && j < other.size();) {
        const Interval shared{std::max(one[i].from, other[j].from), std::min(one[i].to, other[j].to)};
        if (shared.to > shared.from) both.push_back(shared);
        if (one[i].to < other[j].to) {
            ++i;
        } else {
            ++j;
        }
    }
    return both;
}

}  // namespace Kavelin::Calibration
