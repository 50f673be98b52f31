#include "attitude/so3/BodyFixedHypothesis.h"

#include <algorithm>
#include <cmath>

namespace Kavelin::OrientationInternal::SO3 {

namespace {

constexpr double kPatience = 0.25;        // s of misfit before it counts, and of fit before it is over
constexpr double kAveraging = 7.61;       // s of motion
constexpr double kLeastEvidence = 1.62;   // s of motion, before the sensor is blamed
constexpr double kBodyAdvantage = 0.414;  // the sensor's residual must be below this share of the earth's
constexpr double kEarthTolerance = 1.38;  // the earth's may be up to this much of the sensor's
constexpr double kFieldNoise = 0.0187;    // relative, keeps the ratio of two small residuals bounded

}  // namespace

void BodyFixedHypothesis::followMatch(double duration, bool fits) {
    fitsFor_ = fits ? fitsFor_ + duration : 0.0;
    failsFor_ = fits ? 0.0 : failsFor_ + duration;
    if (matched_ && failsFor_ > kPatience) {
        evidence_ = 0.0;
        matched_ = false;
    }
    if (fitsFor_ > kPatience) matched_ = true;
}

std::optional<Eigen::Vector3d> BodyFixedHypothesis::add(const FieldSeen& seen, double duration, bool fits,
                                                        const Eigen::Vector3d& expected) {
    followMatch(duration, fits);
    if (evidence_ == 0.0) {
        bodyMean_.setZero();
        earthMean_.setZero();
        meanSquare_ = 0.0;
    }
    const Eigen::Vector3d difference = seen.field - expected;
    evidence_ = evidence_ * std::exp(-seen.motion / kAveraging) + seen.motion;
    const double gain = seen.motion / evidence_;
    bodyMean_ += gain * (seen.turned.transpose() * difference - bodyMean_);
    earthMean_ += gain * (difference - earthMean_);
    meanSquare_ += gain * (difference.squaredNorm() - meanSquare_);
    constexpr double kNoise = kFieldNoise * kFieldNoise;
    bodyResidual_ = std::max(0.0, meanSquare_ - bodyMean_.squaredNorm()) + kNoise;
    earthResidual_ = std::max(0.0, meanSquare_ - earthMean_.squaredNorm()) + kNoise;
    if (!(evidence_ > kLeastEvidence && bodyResidual_ < kBodyAdvantage * earthResidual_)) return std::nullopt;
    evidence_ = 0.0;
    matched_ = true;
    return bodyMean_;
}

bool BodyFixedHypothesis::allowsChangeOfPlace() const {
    return earthResidual_ < kEarthTolerance * bodyResidual_;
}

}  // namespace Kavelin::OrientationInternal::SO3
