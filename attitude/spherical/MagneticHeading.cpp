#include "attitude/spherical/MagneticHeading.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>

#include "attitude/rotation/Angles.h"

namespace Kavelin::OrientationInternal {

namespace {

constexpr double kHeadingDrift = 2.9e-4;         // rad/sqrt(s), random walk of the gyroscope's heading
constexpr double kGyroscopeScaleError = 4.1e-3;  // sqrt(s), adds drift in proportion to the rate
constexpr double kDisturbanceNoise = 1.32;  // growth of the field's noise variance per unit of disturbance
constexpr double kGate = 0.283;             // rad, largest error that one sample may claim
constexpr double kGateOffVariance = 0.05;   // rad^2; above it the heading is not known well enough to gate
constexpr double kUnknownHeadingVariance = 1.0;  // rad^2
constexpr double kMovingRateSquared = 0.12;      // (rad/s)^2, 20 degrees a second
constexpr double kSlowErrorTimeConstant = 1.0;   // s
constexpr double kFarOff = 0.35;                 // rad; a heading error that a good field should not show
constexpr double kNearAgain = 0.175;             // rad
constexpr double kWrongHeadingTime = 22.8;       // s
constexpr double kLearningTime = 3.0;   // s of a fitting field after which the first reference is trusted
constexpr double kRejectionTime = 0.5;  // s
constexpr double kFirstMotion = 2.0;    // s; until then motion can still expose a start near a magnet
constexpr double kExposureRatio = 1.5;  // bad time over good time that exposes it
constexpr double kSmallestHorizontalPart = 1e-3;

// Turns the unit vector `v` by `angle` about `axis`, to which it is normal;
// third order for the usual tiny step.
void turnAbout(const Eigen::Vector3d& axis, double angle, Eigen::Vector3d& v) {
    constexpr double kTiny = 1e-3;  // the norm's error is angle^4 / 8
    const Eigen::Vector3d side = axis.cross(v);
    if (std::abs(angle) < kTiny) {
        v += angle * side - 0.5 * angle * angle * v;
    } else {
        v = std::cos(angle) * v + std::sin(angle) * side;
    }
}

}  // namespace

void MagneticHeading::correct(double dt, double rateSquared, const Eigen::Vector3d& up,
                              const Eigen::Vector3d& field, double fieldNoise, Eigen::Vector3d& north) {
    const double strength = field.norm();
    const double vertical = field.dot(up);
    Eigen::Vector3d horizontal = field - vertical * up;
    const double horizontalStrength = horizontal.norm();
    if (horizontalStrength < kSmallestHorizontalPart * strength) return;
    horizontal /= horizontalStrength;
    const double dip = std::atan2(-vertical, horizontalStrength);
    if (!reference_.known()) {
        reference_.adopt(strength, dip, dt);
        disturbance_ = 0.0;
        north = horizontal;
        return;
    }
    const bool moving = rateSquared > kMovingRateSquared;
    variance_ +=
        (kHeadingDrift * kHeadingDrift + kGyroscopeScaleError * kGyroscopeScaleError * rateSquared) * dt;
    disturbance_ = reference_.disturbance(strength, dip, dt);
    const double error = smallAngleAtan2(up.dot(north.cross(horizontal)), north.dot(horizontal));
    slowError_ = wrapOnce(slowError_ + dt / (kSlowErrorTimeConstant + dt) * wrapOnce(error - slowError_));
    if (startedWrong(dt, moving)) return forgetField();
    if (disturbance_ >= 1.0) return reference_.watch(strength, dip, dt, moving);
    reference_.follow(strength, dip, dt);
    watchForWrongHeading(error, dt, moving);
    const double noise = fieldNoise * fieldNoise * (1.0 + kDisturbanceNoise * disturbance_) / dt;
    const double gain = variance_ / (variance_ + noise);
    const double step = variance_ > kGateOffVariance ? error : std::clamp(error, -kGate, kGate);
    variance_ *= 1.0 - gain;
    turnAbout(up, gain * step, north);
}

// The field seen at the start soon no longer fits: there was something magnetic near the unit at the start.
bool MagneticHeading::startedWrong(double dt, bool moving) {
    if (moving) moved_ += dt;
    if (disturbance_ < 1.0 && std::abs(slowError_) < kFarOff) {
        goodFor_ += dt;
        badFor_ = 0.0;
    } else {
        badFor_ += dt;
    }
    return (goodFor_ < kLearningTime && badFor_ > kRejectionTime) ||
           (moved_ < kFirstMotion && badFor_ > std::max(kRejectionTime, kExposureRatio * goodFor_));
}

void MagneticHeading::watchForWrongHeading(double error, double dt, bool moving) {
    if (std::abs(error) > kFarOff) {
        if (moving) wrongFor_ += dt;
    } else if (std::abs(error) < kNearAgain) {
        wrongFor_ = 0.0;
    }
    if (wrongFor_ > kWrongHeadingTime) {
        variance_ = kUnknownHeadingVariance;
        wrongFor_ = 0.0;
    }
}

void MagneticHeading::forgetField() {
    const double moved = moved_;
    *this = MagneticHeading{};
    moved_ = moved;
}

}  // namespace Kavelin::OrientationInternal
