#pragma once

#include <Eigen/Geometry>
#include <cmath>

#include "attitude/rotation/AngleConstants.h"

namespace Kavelin::OrientationInternal {

/// Quaternion of the rotation vector `r` (rad; right-handed turn by |r| about r).
/// @return unit norm to rounding for any finite r, the identity for zero; a series below 0.1 rad, exact to
/// rounding there. Never throws. [any thread]
inline Eigen::Quaterniond quaternionFromRotationVector(const Eigen::Vector3d& r) {
    constexpr double kSeriesBound = 0.01;  // squared angle; the first term left out is below 1e-15
    const double s = r.squaredNorm();
    double w = 0.0;
    double scale = 0.0;  // sin(|r| / 2) / |r|
    if (s < kSeriesBound) {
        w = 1.0 - s * (1.0 / 8.0 - s * (1.0 / 384.0 - s / 46080.0));
        scale = 0.5 - s * (1.0 / 48.0 - s * (1.0 / 3840.0 - s / 645120.0));
    } else {
        const double angle = std::sqrt(s);
        w = std::cos(0.5 * angle);
        scale = std::sin(0.5 * angle) / angle;
    }
    return {w, scale * r.x(), scale * r.y(), scale * r.z()};
}

/// Brings a quaternion whose norm is within a rounding error of one back to it: one Newton step, no square
/// root.
/// @param q norm within 1e-8 of one (not checked). Never throws. [any thread]
inline void renormalise(Eigen::Quaterniond& q) { q.coeffs() *= 1.5 - 0.5 * q.coeffs().squaredNorm(); }

/// atan2(y, x), by a series where the angle is below 0.03 rad: what a tracking filter meets at almost every
/// sample.
/// @return rad, [-pi, pi], within 1e-15 of std::atan2. Never throws. [any thread]
inline double smallAngleAtan2(double y, double x) {
    constexpr double kSeriesBound = 0.03;
    if (!(x > 0.0 && std::abs(y) < kSeriesBound * x)) return std::atan2(y, x);
    const double u = y / x;
    const double s = u * u;
    return u * (1.0 - s * (1.0 / 3.0 - s * (1.0 / 5.0 - s * (1.0 / 7.0 - s / 9.0))));
}

/// Wraps an angle that left [-pi, pi) by less than one turn. @param angle rad, [-3 pi, 3 pi). Never throws.
/// [any thread]
inline double wrapOnce(double angle) {
    if (angle >= kPi) return angle - kTwoPi;
    return angle < -kPi ? angle + kTwoPi : angle;
}

}  // namespace Kavelin::OrientationInternal
