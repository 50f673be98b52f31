#include "orientation/joint/JointAlignment.h"

#include <cmath>

#include "attitude/rotation/AngleConstants.h"
#include "attitude/rotation/QuaternionAlgebra.h"
#include "orientation/frames/AngleDGComputer.h"

namespace Kavelin::OrientationInternal {

namespace {

const double kSteepest = std::cos(20.0 * kDegreesToRadians);

/// The unit's own axis that is farthest from the hinge.
Vector3 farthestFrom(const Vector3& axis) {
    Eigen::Index farthest = 0;
    axis.cwiseAbs().minCoeff(&farthest);
    return Vector3::Unit(farthest);
}

/// The frame with z along the hinge and y as near to `guide` as it can be.
Quaternion frameOf(const Vector3& axis, const Vector3& guide) {
    const Vector3 y = (guide - guide.dot(axis) * axis).normalized();
    Eigen::Matrix3d r;
    r << y.cross(axis), y, axis;
    return fromEigen(Eigen::Quaterniond(r));
}

Quaternion attitudeOf(const SegmentAlignment& segment, const Quaternion& q_earth_sensor) {
    return quaternionProduct(quaternionProduct(headingTurn(segment.heading), q_earth_sensor),
                             segment.q_sensor_segment);
}

bool isSteep(const Vector3& axis_earth) { return std::abs(axis_earth.z()) > kSteepest; }

PairedHinge reversed(const PairedHinge& hinge) { return {-hinge.d, -hinge.g, hinge.heading}; }

PairedHinge byItsGreatestElement(const PairedHinge& hinge) {
    Eigen::Index greatest = 0;
    hinge.d.cwiseAbs().maxCoeff(&greatest);
    return hinge.d[greatest] < 0.0 ? reversed(hinge) : hinge;
}

}  // namespace

JointAlignment alignJoint(const JointPose& pose, const std::optional<PairedHinge>& hinge) {
    JointAlignment joint;
    if (hinge) {
        const Vector3 axis_d = rotate(pose.d.q_earth_sensor, hinge->d);
        const Vector3 axis_g = rotate(pose.g.q_earth_sensor, hinge->g);
        joint.isLevel = !isSteep(axis_d);
        const Vector3 up = rotate(conjugate(pose.d.q_earth_sensor), Vector3::UnitZ());
        joint.d.q_sensor_segment = frameOf(hinge->d, joint.isLevel ? up : farthestFrom(hinge->d));
        joint.g.heading = joint.isLevel ? headingBetween(axis_g, axis_d) : hinge->heading;
    }
    const Quaternion q_earth_segment = attitudeOf(joint.d, pose.d.q_earth_sensor);
    const Quaternion q_earth_g = quaternionProduct(headingTurn(joint.g.heading), pose.g.q_earth_sensor);
    joint.g.q_sensor_segment = quaternionProduct(conjugate(q_earth_g), q_earth_segment).normalized();
    return joint;
}

JointAlignment alignJoint(const PairedHinge& hinge) {
    JointAlignment joint;
    joint.isLevel = false;
    joint.d.q_sensor_segment = frameOf(hinge.d, farthestFrom(hinge.d));
    joint.g.q_sensor_segment = frameOf(hinge.g, farthestFrom(hinge.g));
    joint.g.heading = hinge.heading;
    return joint;
}

PairedHinge towardsFlexion(const PairedHinge& hinge, const std::vector<JointSample>& samples,
                           const std::optional<JointPose>& pose) {
    if (!pose) return byItsGreatestElement(hinge);
    const JointAlignment joint = alignJoint(*pose, hinge);
    AngleDGComputer computer;
    double sum = 0.0, squares = 0.0;
    for (const JointSample& sample : samples) {
        const double flexion =
            computer.compute(attitudeOf(joint.d, sample.q_earth_d), attitudeOf(joint.g, sample.q_earth_g))
                .twist;
        sum += flexion;
        squares += flexion * flexion;
    }
    const double count = static_cast<double>(samples.size());
    if (std::abs(sum) < 0.2 * std::sqrt(squares * count)) return byItsGreatestElement(hinge);
    return sum < 0.0 ? reversed(hinge) : hinge;
}

}  // namespace Kavelin::OrientationInternal
