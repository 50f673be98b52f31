#pragma once

#include <cmath>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Norm of a rate, rad/s, up to which a turn is taken to first order: below it the axis cannot be told.
inline constexpr double kFirstOrderRate = 1e-9;

/// Computes the Hamilton product p q: the rotation q followed by the rotation p.
inline Quaternion quaternionProduct(const Quaternion& p, const Quaternion& q) {
    return {p[0] * q[0] - p[1] * q[1] - p[2] * q[2] - p[3] * q[3],
            p[0] * q[1] + p[1] * q[0] + p[2] * q[3] - p[3] * q[2],
            p[0] * q[2] - p[1] * q[3] + p[2] * q[0] + p[3] * q[1],
            p[0] * q[3] + p[1] * q[2] - p[2] * q[1] + p[3] * q[0]};
}

/// Computes the matrix (2 w^2 - 1) I + 2 v v^T + 2 w [v]x of a quaternion w, v.
/// Unit norm is assumed, not enforced: another length gives a matrix that is no rotation.
inline Matrix3 quaternionToRotation(const Quaternion& q) {
    const double w = q[0], x = q[1], y = q[2], z = q[3];
    const double diagonal = 2 * w * w - 1;
    Matrix3 r;
    r << diagonal + 2 * x * x, 2 * x * y - 2 * w * z, 2 * w * y + 2 * x * z,  //
        2 * w * z + 2 * y * x, diagonal + 2 * y * y, 2 * y * z - 2 * w * x,   //
        2 * z * x - 2 * w * y, 2 * w * x + 2 * z * y, diagonal + 2 * z * z;
    return r;
}

/// Turns `q` (sensor to reference) by the constant rate of one step, exactly, and divides it by its norm.
/// @param rate rad/s, sensor frame; at a norm of kFirstOrderRate or less the step is taken to first order.
/// @param dt   s, of either sign.  A zero quaternion gives NaN.
/// Source: Wertz, Spacecraft Attitude Determination and Control, 1978, section 17.1.
inline Quaternion propagateQuaternion(const Quaternion& q, const Vector3& rate, double dt) {
    const double norm = rate.norm();
    const bool firstOrder = !(norm > kFirstOrderRate);
    const double keep = firstOrder ? 1.0 : std::cos(norm * dt / 2);
    const double turn = firstOrder ? dt / 2 : std::sin(norm * dt / 2) / norm;
    const Quaternion rateQuaternion(0.0, rate.x(), rate.y(), rate.z());
    const Quaternion next = keep * q + turn * quaternionProduct(q, rateQuaternion);
    return next / next.norm();
}

}  // namespace Kavelin::OrientationInternal
