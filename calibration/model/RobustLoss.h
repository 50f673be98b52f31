#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace Kavelin::Calibration {

/// Weights of iteratively reweighted least squares, and their losses, of a residual in standard deviations.
/// Never throw. [any thread]  Sources: Huber, "Robust estimation of a location parameter", Annals of
/// Mathematical Statistics 35(1), 1964; Beaton & Tukey, Technometrics 16(2), 1974. The constants give 95 % of
/// the efficiency of least squares on normal errors.
struct HuberLoss {
    static constexpr double kBound = 1.345;
    static double weight(double u) { return std::abs(u) <= kBound ? 1.0 : kBound / std::abs(u); }
    static double loss(double u) {
        const double a = std::abs(u);
        return a <= kBound ? 0.5 * u * u : kBound * (a - 0.5 * kBound);
    }
};

struct TukeyLoss {
    static constexpr double kBound = 4.685;
    static double weight(double u) {
        const double s = 1.0 - u * u / (kBound * kBound);
        return s > 0.0 ? s * s : 0.0;
    }
    static double loss(double u) {
        const double s = std::max(0.0, 1.0 - u * u / (kBound * kBound));
        return kBound * kBound / 6.0 * (1.0 - s * s * s);
    }
};

/// The value that half of the weight lies below; 0 without weight.
/// @param values pairs of value and weight
inline double weightedMedian(std::vector<std::pair<double, double>> values) {
    if (values.empty()) return 0.0;
    double half = 0.0;
    for (const auto& value : values) half += 0.5 * value.second;
    double below = 0.0;
    auto from = values.begin();
    auto to = values.end();
    while (to - from > 1) {
        const auto middle = from + (to - from) / 2;
        std::nth_element(from, middle, to);
        double lower = 0.0;
        for (auto value = from; value != middle; ++value) lower += value->second;
        if (below + lower > half) {
            to = middle;
        } else {
            below += lower;
            from = middle;
        }
    }
    return from->first;
}

/// Standard deviation of normal errors whose sizes have that median.
inline double deviationOfMedian(double median) { return 1.4826 * median; }

}  // namespace Kavelin::Calibration
