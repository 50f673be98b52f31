#include "calibration/magnetic/DirectionPatches.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Kavelin::Calibration {

namespace {

const double kRareShare = 0.25;  // of the median patch

}  // namespace

DirectionPatches::DirectionPatches(std::size_t count) {
    const double goldenAngle = std::numbers::pi * (3.0 - std::sqrt(5.0));
    const auto n = static_cast<double>(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double z = 1.0 - (2.0 * static_cast<double>(i) + 1.0) / n;
        const double radius = std::sqrt(1.0 - z * z);
        const double angle = goldenAngle * static_cast<double>(i);
        centres_.emplace_back(radius * std::cos(angle), radius * std::sin(angle), z);
    }
}

std::size_t DirectionPatches::of(const Eigen::Vector3d& vector) const {
    std::size_t best = 0;
    double greatest = -1.0;
    const Eigen::Vector3d direction = vector.normalized();
    for (std::size_t i = 0; i < centres_.size(); ++i) {
        const double cosine = centres_[i].dot(direction);
        if (cosine > greatest) {
            greatest = cosine;
            best = i;
        }
    }
    return best;
}

std::size_t DirectionCounts::seen() const {
    return static_cast<std::size_t>(
        std::count_if(counts.begin(), counts.end(), [](double count) { return count > 0.0; }));
}

void DirectionCounts::findUsual() {
    std::vector<double> there;
    std::copy_if(counts.begin(), counts.end(), std::back_inserter(there), [](double c) { return c > 0.0; });
    if (there.empty()) return;
    const auto middle = there.begin() + static_cast<std::ptrdiff_t>(there.size() / 2);
    std::nth_element(there.begin(), middle, there.end());
    leastCount_ = kRareShare * *middle;
}

double DirectionCounts::weightIn(std::size_t patch) const {
    return 1.0 / std::max(counts[patch], std::max(leastCount_, 1e-9));
}

}  // namespace Kavelin::Calibration
