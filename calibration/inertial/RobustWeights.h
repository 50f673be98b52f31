#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "calibration/model/RobustLoss.h"

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

/// Weight of a residual; of the second, none at all for what is far off.
inline double huberWeight(double residual, double scale) { return HuberLoss::weight(residual / scale); }
inline double tukeyWeight(double residual, double scale) { return TukeyLoss::weight(residual / scale); }

}  // namespace Kavelin::Calibration
