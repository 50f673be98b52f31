#pragma once

#include <limits>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Follows the difference between the headings of two segments that a hinge joins.
///
/// Both segments have the hinge along z, so that it must have one heading in both. The difference at each
/// sample goes through a low pass of first order, whose time constant is longer by the inverse square of how
/// level the axis is: near the vertical it has no heading, and the difference stays as it was. After Laidig,
/// Schauer, Seel, "Exploiting kinematic constraints to compensate magnetic disturbances when calculating
/// joint angles of approximate hinge joints from orientation estimates of inertial sensors", IEEE
/// International Conference on Rehabilitation Robotics, 2017.
class HingeHeading {
public:
    /// s; 0: the difference stays as it is.
    void setTimeConstant(double seconds) { timeConstant_ = seconds; }

    /// @param t s; a step back, and one of more than a second, counts as none.
    /// @param q_earth_d, q_earth_g of the segments, unit norm
    /// @return rad; the turn about the vertical that G needs; 0 at the first sample, and not wrapped
    double update(double t, const Quaternion& q_earth_d, const Quaternion& q_earth_g);

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(timeConstant_, heading_, time_);
    }

private:
    double timeConstant_ = 0.0;
    double heading_ = 0.0;
    double time_ = std::numeric_limits<double>::quiet_NaN();
};

}  // namespace Kavelin::OrientationInternal
