#include "orientation/joint/HingeHeading.h"

#include <cmath>

#include "attitude/rotation/Angles.h"
#include "attitude/rotation/QuaternionAlgebra.h"
#include "orientation/joint/HingePairing.h"

namespace Kavelin::OrientationInternal {

double HingeHeading::update(double t, const Quaternion& q_earth_d, const Quaternion& q_earth_g) {
    constexpr double kLongestStep = 1.0;  // s
    const double step = t - time_;
    time_ = t;
    if (!(step > 0.0) || step > kLongestStep || timeConstant_ <= 0.0) return heading_;
    const Vector3 axis_d = rotate(q_earth_d, Vector3::UnitZ()), axis_g = rotate(q_earth_g, Vector3::UnitZ());
    const double level = axis_d.head<2>().norm() * axis_g.head<2>().norm();
    const double gain = 1.0 - std::exp(-step * level / timeConstant_);
    heading_ += gain * wrapped(headingBetween(axis_g, axis_d) - heading_);
    return heading_;
}

}  // namespace Kavelin::OrientationInternal
