#pragma once

#include <cmath>

#include "attitude/rotation/AngleConstants.h"

namespace Kavelin::OrientationInternal {

/// Wraps any angle to [-pi, pi]. @param angle rad. Never throws. [any thread]
inline double wrapped(double angle) { return std::remainder(angle, kTwoPi); }

/// Wraps an angle that left [-pi, pi) by less than one turn: cheaper than `wrapped`, and pi becomes -pi.
/// @param angle rad, [-3 pi, 3 pi). Never throws. [any thread]
inline double wrapOnce(double angle) {
    if (angle >= kPi) return angle - kTwoPi;
    return angle < -kPi ? angle + kTwoPi : angle;
}

/// atan2(y, x), by a series where the angle is below 0.03 rad:
/// what a tracking filter meets at almost every sample.
/// @return rad, [-pi, pi], within 1e-15 of std::atan2. Never throws. [any thread]
inline double smallAngleAtan2(double y, double x) {
    constexpr double kSeriesBound = 0.03;
    if (!(x > 0.0 && std::abs(y) < kSeriesBound * x)) return std::atan2(y, x);
    const double u = y / x;
    const double s = u * u;
    return u * (1.0 - s * (1.0 / 3.0 - s * (1.0 / 5.0 - s * (1.0 / 7.0 - s / 9.0))));
}

}  // namespace Kavelin::OrientationInternal
