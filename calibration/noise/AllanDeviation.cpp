#include "calibration/noise/AllanDeviation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Kavelin::Calibration {

namespace {

using Sums = std::vector<Eigen::Vector3d>;

/// Sum of the first k deviations from the mean, for k from 0 on: small numbers, so no digits are lost.
Sums sumsOf(const std::vector<Eigen::Vector3d>& values) {
    Eigen::Vector3d mean = Eigen::Vector3d::Zero();
    for (const auto& value : values) mean += (value - values.front()) / static_cast<double>(values.size());
    mean += values.front();
    Sums sums(values.size() + 1, Eigen::Vector3d::Zero());
    for (std::size_t k = 0; k < values.size(); ++k) sums[k + 1] = sums[k] + (values[k] - mean);
    return sums;
}

Eigen::Vector3d variance(const Sums& sums, std::size_t m) {
    const std::size_t count = sums.size() - 2 * m;
    Eigen::Vector3d squares = Eigen::Vector3d::Zero();
    for (std::size_t k = 0; k < count; ++k) {
        squares += (sums[k + 2 * m] - 2.0 * sums[k + m] + sums[k]).cwiseAbs2();
    }
    const auto n = static_cast<double>(m);
    return squares / (2.0 * n * n * static_cast<double>(count));
}

double whiteFreedom(std::size_t samples, std::size_t m) {
    const auto points = static_cast<double>(samples + 1);
    const auto n = static_cast<double>(m);
    const double blocks = 1.5 * (points - 1.0) / n - 2.0 * (points - 2.0) / points;
    return std::max(1.0, blocks * 4.0 * n * n / (4.0 * n * n + 5.0));
}

}  // namespace

std::vector<AllanPoint> allanDeviation(const RegularSamples& samples) {
    constexpr double kRatio = 1.189207115002721;  // four times an octave
    constexpr std::size_t kLongestShare = 9;
    const std::size_t greatest = samples.values.size() / kLongestShare;
    std::vector<AllanPoint> points;
    if (greatest == 0) return points;
    const Sums sums = sumsOf(samples.values);
    std::size_t last = 0;
    for (double at = 1.0; at <= static_cast<double>(greatest); at *= kRatio) {
        const auto m = static_cast<std::size_t>(std::lround(at));
        if (m == last || m > greatest) continue;
        last = m;
        points.push_back({static_cast<double>(m) * samples.step, variance(sums, m).cwiseSqrt(),
                          whiteFreedom(samples.values.size(), m)});
    }
    return points;
}

}  // namespace Kavelin::Calibration
