#pragma once

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Computes the Hamilton product p q: the rotation q followed by the rotation p.
inline Quaternion quaternionProduct(const Quaternion& p, const Quaternion& q) {
    return {p[0] * q[0] - p[1] * q[1] - p[2] * q[2] - p[3] * q[3],
            p[0] * q[1] + p[1] * q[0] + p[2] * q[3] - p[3] * q[2],
            p[0] * q[2] - p[1] * q[3] + p[2] * q[0] + p[3] * q[1],
            p[0] * q[3] + p[1] * q[2] - p[2] * q[1] + p[3] * q[0]};
}

/// The inverse rotation, where `q` has unit norm.
inline Quaternion conjugate(const Quaternion& q) { return {q[0], -q[1], -q[2], -q[3]}; }

/// Turns the vector `v` by the unit quaternion `q`: from the sensor frame to the reference for an attitude.
inline Vector3 rotate(const Quaternion& q, const Vector3& v) {
    const Vector3 u(q[1], q[2], q[3]);
    const Vector3 t = 2.0 * u.cross(v);
    return v + q[0] * t + u.cross(t);
}

/// Computes the matrix (2 w^2 - 1) I + 2 v v^T + 2 w [v]x of a quaternion w, v.
/// Unit norm is assumed, not enforced: another length gives a matrix that does not rotate.
inline Matrix3 quaternionToRotation(const Quaternion& q) {
    const double w = q[0], x = q[1], y = q[2], z = q[3];
    const double diagonal = 2 * w * w - 1;
    Matrix3 r;
    r << diagonal + 2 * x * x, 2 * x * y - 2 * w * z, 2 * w * y + 2 * x * z,  //
        2 * w * z + 2 * y * x, diagonal + 2 * y * y, 2 * y * z - 2 * w * x,   //
        2 * z * x - 2 * w * y, 2 * w * x + 2 * z * y, diagonal + 2 * z * z;
    return r;
}

/// Brings a quaternion whose norm is within a rounding error of one back to it:
/// one Newton step, no square root.
/// @param q norm within 1e-8 of one (not checked). Never throws. [any thread]
inline void renormalise(Eigen::Quaterniond& q) { q.coeffs() *= 1.5 - 0.5 * q.coeffs().squaredNorm(); }

}  // namespace Kavelin::OrientationInternal
