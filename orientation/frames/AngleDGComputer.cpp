#include "orientation/frames/AngleDGComputer.h"

#include <cmath>

#include "attitude/rotation/AbsoluteAttitudeComputer.h"
#include "attitude/rotation/QuaternionAlgebra.h"

namespace Kavelin::OrientationInternal {

AngleDG AngleDGComputer::compute(const Quaternion& q_earth_d, const Quaternion& q_earth_g) {
    const Quaternion r_d_g = quaternionProduct(conjugate(q_earth_d), q_earth_g);
    if (referenceRequested_) {
        reference_ = r_d_g;
        referenceRequested_ = false;
    }
    Quaternion relative = quaternionProduct(r_d_g, conjugate(reference_));
    if (relative[0] < 0) relative = -relative;  // the same sign, whatever signs came in

    const double w = relative[0];
    const Vector3 v = relative.tail<3>();
    const double along = v.dot(axis_);
    const double across = (v - along * axis_).norm();
    return {.angle = 2 * std::atan2(v.norm(), w),
            .twist = AbsoluteAttitudeComputer::unwrapAngle(2 * std::atan2(along, w), 0.0),
            .swing = 2 * std::atan2(across, std::hypot(w, along)),
            .relative = relative};
}

}  // namespace Kavelin::OrientationInternal
