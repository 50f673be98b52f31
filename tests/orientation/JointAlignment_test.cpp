#include "orientation/joint/JointAlignment.h"

#include "attitude/rotation/QuaternionAlgebra.h"
#include "support/Matchers.h"
#include "support/RotationCases.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

Quaternion segmentOf(const SegmentAlignment& segment, const Quaternion& q) {
    return quaternionProduct(quaternionProduct(headingTurn(segment.heading), q), segment.q_sensor_segment);
}

TEST(JointAlignment, MakesThePoseZeroWithZAlongTheHingeAndYUp) {
    for (const auto& pose_d : rotationCases()) {
        const Quaternion q_d = fromEigen(Eigen::Quaterniond(pose_d.matrix()));
        const Quaternion q_g = quaternionProduct(headingTurn(2.0), Quaternion(0.5, -0.5, 0.5, 0.5));
        const Vector3 axis_earth = Vector3(1, 2, 0.3).normalized();
        // The heading of G is 0.7 rad too large.
        const PairedHinge hinge{rotate(conjugate(q_d), axis_earth),
                                rotate(conjugate(q_g), rotate(headingTurn(0.7), axis_earth)), 0.0};
        const JointPose pose{{.q_earth_sensor = q_d}, {.q_earth_sensor = q_g}};
        const JointAlignment joint = alignJoint(pose, hinge);
        const Quaternion d = segmentOf(joint.d, q_d);
        EXPECT_NEAR(joint.g.heading, -0.7, 1e-9) << pose_d.name;
        EXPECT_THAT(segmentOf(joint.g, q_g), isSameRotationAs(d, 1e-9)) << pose_d.name;
        EXPECT_LT((rotate(d, Vector3::UnitZ()) - axis_earth).norm(), 1e-9) << pose_d.name;
        EXPECT_NEAR(rotate(d, Vector3::UnitY()).z(), std::hypot(axis_earth.x(), axis_earth.y()), 1e-9);
        EXPECT_LT((rotate(joint.g.q_sensor_segment, Vector3::UnitZ()) - hinge.g).norm(), 1e-9);
    }
}

TEST(PoseAverage, IsTheMeanOfQuaternionsOfEitherSignAndTellsHowStillTheyWere) {
    PoseAverage average;
    const Quaternion middle(0.5, 0.5, -0.5, 0.5);
    for (const double angle : {-0.02, -0.01, 0.01, 0.02})
        average.add((angle > 0 ? -1.0 : 1.0) * quaternionProduct(headingTurn(angle), middle),
                    Vector3(0.01 + angle, 0, 0));
    const StillPose pose = average.result();
    EXPECT_THAT(pose.q_earth_sensor, isSameRotationAs(middle, 1e-9));
    EXPECT_NEAR(pose.spread, std::sqrt(2.5e-4), 1e-6);
    EXPECT_NEAR(pose.rateSpread, std::sqrt(2.5e-4), 1e-9);
    EXPECT_NEAR(pose.meanRate.x(), 0.01, 1e-12);
    EXPECT_TRUE(pose.isStill());
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
