#pragma once

#include <cmath>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Norm of a rate, rad/s, up to which a form that divides by it takes the turn to first order: below it the
/// axis is undetermined.
inline constexpr double kFirstOrderRate = 1e-9;

/// Quaternion of the rotation vector `r` (rad; right-handed turn by |r| about r): the exponential map.
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

/// Rotation vector of the unit quaternion `q`: the logarithm, which undoes quaternionFromRotationVector.
/// @return rad, at most pi long: of the two signs of `q` the one with the shorter turn.
/// Never throws. [any thread]
inline Vector3 rotationVectorFromQuaternion(Quaternion q) {
    if (q[0] < 0.0) q = -q;
    const Vector3 v = q.tail<3>();
    const double sine = v.norm();
    return sine < 1e-12 ? Vector3(2.0 * v) : Vector3(2.0 * std::atan2(sine, q[0]) / sine * v);
}

}  // namespace Kavelin::OrientationInternal
