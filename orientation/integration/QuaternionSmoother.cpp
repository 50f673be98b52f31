#include "orientation/integration/QuaternionSmoother.h"

#include <array>
#include <cmath>
#include <numeric>

namespace Kavelin::OrientationInternal {

namespace {

constexpr std::array<double, 3> kDefaultKernel{0.25, 0.5, 0.25};

double vectorNorm(const Quaternion& q) { return std::sqrt(q[1] * q[1] + q[2] * q[2] + q[3] * q[3]); }

double squaredNorm(const Quaternion& q) { return q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]; }

/// Hamilton product with its terms summed in this order;
/// the smoother's results depend on it in the last digit.
Quaternion product(const Quaternion& a, const Quaternion& b) {
    return {a[0] * b[0] - a[1] * b[1] - a[2] * b[2] - a[3] * b[3],
            a[1] * b[0] + a[0] * b[1] - a[3] * b[2] + a[2] * b[3],
            a[2] * b[0] + a[3] * b[1] + a[0] * b[2] - a[1] * b[3],
            a[3] * b[0] - a[2] * b[1] + a[1] * b[2] + a[0] * b[3]};
}

/// Minus the sum of the coefficients up to the turn in the first half, the sum of those after it
/// in the second.
std::vector<double> turnWeights(std::span<const double> kernel) {
    std::vector<double> weights(kernel.size() - 1);
    const std::size_t half = kernel.size() / 2;
    for (std::size_t i = 0; i < weights.size(); ++i) {
        const auto split = kernel.begin() + static_cast<std::ptrdiff_t>(i) + 1;
        weights[i] = i < half ? -std::accumulate(kernel.begin(), split, 0.0)
                              : std::accumulate(split, kernel.end(), 0.0);
    }
    return weights;
}

}  // namespace

Quaternion quaternionInverse(const Quaternion& q) {
    return Quaternion(q[0], -q[1], -q[2], -q[3]) / squaredNorm(q);
}

Quaternion quaternionLogarithm(const Quaternion& q) {
    const double norm = std::sqrt(squaredNorm(q));
    const double length = vectorNorm(q);
    if (length == 0.0) return {std::log(norm), 0.0, 0.0, 0.0};
    const double scale = std::acos(q[0] / norm) / length;
    return {std::log(norm), scale * q[1], scale * q[2], scale * q[3]};
}

Quaternion quaternionExponential(const Quaternion& logarithm) {
    const double norm = std::exp(logarithm[0]);
    const double angle = vectorNorm(logarithm);
    const double scale = angle == 0.0 ? norm : norm * (std::sin(angle) / angle);
    return {norm * std::cos(angle), scale * logarithm[1], scale * logarithm[2], scale * logarithm[3]};
}

QuaternionSmoother::QuaternionSmoother() : QuaternionSmoother(kDefaultKernel) {}

QuaternionSmoother::QuaternionSmoother(std::span<const double> kernel)
    : weights_(turnWeights(kernel)), turns_(weights_.size(), Quaternion::Zero()) {}

Quaternion QuaternionSmoother::step(const Quaternion& q) {
    if (count_ > 0) {  // the logarithm of each turn is taken once, when its later end comes
        turns_[oldestTurn_] = quaternionLogarithm(product(quaternionInverse(newest_), q));
        oldestTurn_ = oldestTurn_ + 1 == turns_.size() ? 0 : oldestTurn_ + 1;
    }
    newest_ = q;
    if (count_ <= turns_.size()) ++count_;
    if (count_ <= turns_.size()) return q;
    return product(q, quaternionExponential(weightedTurns()));
}

Quaternion QuaternionSmoother::weightedTurns() const {
    Quaternion sum = Quaternion::Zero();
    std::size_t place = oldestTurn_;
    for (const double weight : weights_) {
        sum += weight * turns_[place];
        place = place + 1 == turns_.size() ? 0 : place + 1;
    }
    return sum;
}

}  // namespace Kavelin::OrientationInternal
