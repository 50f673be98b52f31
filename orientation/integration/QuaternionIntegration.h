#pragma once

#include "attitude/rotation/ExponentialMap.h"

namespace Kavelin::OrientationInternal {

using Matrix4 = Eigen::Matrix4d;

/// Builds the matrix W of the quaternion kinematics dv/dt = W v / 2, for v written x, y, z, w.
/// @param rate rad per time unit, sensor frame.  @return 4x4, skew-symmetric.  Never throws.
Matrix4 rateMatrix(const Vector3& rate);

/// Computes exp(W dt / 2), the turn of a constant rate during `dt`, for a quaternion written x, y, z, w. The
/// bits of the filter's results depend on this form: a matrix, and not the quaternion of ExponentialMap.h.
/// @param rate rad per time unit, sensor frame; at a norm up to kFirstOrderRate, and when the norm is not a
/// number, I + W dt / 2 is taken.
/// @param dt   same time unit, of either sign.  Never throws.
/// Source: Wertz, Spacecraft Attitude Determination and Control, 1978, section 17.1.
Matrix4 transitionMatrix(const Vector3& rate, double dt);

/// Turns `q` (w, x, y, z) by a rate that is constant during `dt`.  @return not normalised.  Never throws.
Quaternion integrateConstantRate(const Quaternion& q, const Vector3& rate, double dt);

/// Turns `q` (w, x, y, z) by a rate that goes linearly from `previous` to `current` during `dt`: the
/// transition of the mean rate, corrected by (dt^2 / 48) (B A - A B) with A and B the rate matrices of
/// `previous` and `current`. Equal rates give what integrateConstantRate gives. @return not normalised. Never
/// throws. Source: Magnus, Comm. Pure and Applied Mathematics 7(4), 1954:
/// the first two terms of the expansion.
Quaternion integrateLinearRate(const Quaternion& q, const Vector3& previous, const Vector3& current,
                               double dt);

}  // namespace Kavelin::OrientationInternal
