#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace Kavelin::Calibration {

/// Scale of residuals by their median size, which outliers do not move: the standard deviation if they are
/// normal. @param unknowns fitted to them, which makes them smaller.  @return at least `least`
inline double robustScale(std::vector<double> residuals, std::size_t unknowns, double least) {
    if (residuals.size() <= unknowns) return least;
    for (double& r : residuals) r = std::abs(r);
    const auto middle = residuals.begin() + static_cast<std::ptrdiff_t>(residuals.size() / 2);
    std::nth_element(residuals.begin(), middle, residuals.end());
    const auto n = static_cast<double>(residuals.size());
    return std::max(least, 1.4826 * *middle * std::sqrt(n / (n - static_cast<double>(unknowns))));
}

/// Weight of a residual.  Source: Huber, Annals of Mathematical Statistics 35(1), 1964.
inline double huberWeight(double residual, double scale) {
    const double size = std::abs(residual) / (1.345 * scale);
    return size <= 1.0 ? 1.0 : 1.0 / size;
}

/// The same, and none at all for what is far off.  Source: Beaton and Tukey, Technometrics 16(2), 1974.
inline double tukeyWeight(double residual, double scale) {
    const double share = residual / (4.685 * scale);
    const double rest = 1.0 - share * share;
    return rest <= 0.0 ? 0.0 : rest * rest;
}

}  // namespace Kavelin::Calibration
