#include "orientation/frames/AngleDGComputer.h"

#include "support/Matchers.h"
#include "support/RotationCases.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Eigen::AngleAxisd;
using Eigen::Quaterniond;

TEST(AngleDGComputer, TakesAJointApartIntoTheTwistAndTheSwingItWasMadeOf) {
    const Vector3 axis = Vector3(1, 2, -2) / 3;
    const Vector3 across = Vector3(2, 1, 2) / 3;  // at right angles to the axis
    for (const auto& pose : rotationCases()) {
        const Quaterniond q_earth_d(pose.matrix());
        for (const double twist : {0.0, 1e-8, 0.4, -2.5, 3.1, -kPi}) {
            for (const double swing : {0.0, 1e-8, 0.7, 3.0}) {
                const Quaterniond joint(AngleAxisd(swing, across) * AngleAxisd(twist, axis));
                AngleDGComputer computer;
                computer.setAxis(7 * axis);
                const AngleDG found = computer.compute(fromEigen(q_earth_d), -fromEigen(q_earth_d * joint));
                EXPECT_NEAR(std::remainder(found.twist - twist, 2 * kPi), 0.0, 1e-7) << pose.name;
                EXPECT_NEAR(found.swing, swing, 1e-7) << pose.name;
                EXPECT_NEAR(found.angle, joint.angularDistance(Quaterniond::Identity()), 1e-7) << pose.name;
                EXPECT_THAT(found.relative, isSameRotationAs(fromEigen(joint), 1e-7));
                EXPECT_GE(found.relative[0], 0.0);
            }
        }
    }
}

TEST(AngleDGComputer, CallsTheTwistZeroAtASwingOfPi) {
    AngleDGComputer computer;  // axis z
    const AngleDG found = computer.compute(Quaternion(1, 0, 0, 0), Quaternion(0, 1, 0, 0));
    EXPECT_EQ(found.twist, 0.0);
    EXPECT_NEAR(found.swing, kPi, 1e-15);
    EXPECT_NEAR(found.angle, kPi, 1e-15);
}

TEST(AngleDGComputer, CountsFromTheReferenceInTheFrameOfD) {
    AngleDGComputer computer;
    const Quaternion d = fromEigen(Quaterniond(AngleAxisd(1.1, Vector3::UnitX())));
    const Quaterniond mounting(AngleAxisd(2.0, Vector3(1, 1, 1).normalized()));
    computer.requestReference();
    EXPECT_THAT(computer.compute(d, fromEigen(toEigen(d) * mounting)).relative,
                isNearMatrix(Quaternion(1, 0, 0, 0)));
    const Quaterniond flexed = Quaterniond(AngleAxisd(0.8, Vector3::UnitZ())) * mounting;
    const AngleDG found = computer.compute(d, fromEigen(toEigen(d) * flexed));
    EXPECT_NEAR(found.twist, 0.8, 1e-12);
    EXPECT_NEAR(found.swing, 0.0, 1e-12);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
