#include "orientation/integration/QuaternionIntegration.h"

#include <cmath>

#include "attitude/rotation/VectorLength.h"

namespace Kavelin::OrientationInternal {

namespace {

/// Applies a transition for x, y, z, w to a quaternion w, x, y, z.
Quaternion applyScalarLast(const Matrix4& transition, const Quaternion& q) {
    const Eigen::Vector4d turned = transition * Eigen::Vector4d(q[1], q[2], q[3], q[0]);
    return {turned[3], turned[0], turned[1], turned[2]};
}

}  // namespace

Matrix4 rateMatrix(const Vector3& rate) {
    const double x = rate.x(), y = rate.y(), z = rate.z();
    Matrix4 w;
    w << 0, z, -y, x,  //
        -z, 0, x, y,   //
        y, -x, 0, z,   //
        -x, -y, -z, 0;
    return w;
}

Matrix4 transitionMatrix(const Vector3& rate, double dt) {
    const double norm = lengthOf(rate);
    const double half = dt * 0.5;
    if (norm > kFirstOrderRate) {
        return std::cos(norm * half) * Matrix4::Identity() +
               (std::sin(norm * half) / norm) * rateMatrix(rate);
    }
    return Matrix4::Identity() + half * rateMatrix(rate);
}

Quaternion integrateConstantRate(const Quaternion& q, const Vector3& rate, double dt) {
    return applyScalarLast(transitionMatrix(rate, dt), q);
}

Quaternion integrateLinearRate(const Quaternion& q, const Vector3& previous, const Vector3& current,
                               double dt) {
    const Vector3 mean = 0.5 * (previous + current);
    const Matrix4 a = rateMatrix(previous);
    const Matrix4 b = rateMatrix(current);
    const Matrix4 transition = transitionMatrix(mean, dt) + (dt * dt / 48.0) * (b * a - a * b);
    return applyScalarLast(transition, q);
}

}  // namespace Kavelin::OrientationInternal
