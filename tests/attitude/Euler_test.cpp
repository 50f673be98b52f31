#include "attitude/rotation/Euler.h"

#include "support/Matchers.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

Quaternion composed(double yaw, double pitch, double roll) {
    return fromEigen(Eigen::AngleAxisd(yaw, Eigen::Vector3d::UnitZ()) *
                     Eigen::AngleAxisd(pitch, Eigen::Vector3d::UnitY()) *
                     Eigen::AngleAxisd(roll, Eigen::Vector3d::UnitX()));
}

TEST(EulerZyx, makeUpTheSameRotation) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> angle(-M_PI, M_PI);
    for (int i = 0; i < 2000; ++i) {
        // Every fourth within a hair of the pole, where yaw and roll are one turn.
        const double pitch = i % 4 == 0 ? (i % 8 == 0 ? M_PI / 2 : -M_PI / 2) : angle(random) / 2;
        const Quaternion q = composed(angle(random), pitch, angle(random));
        const Eigen::Vector3d angles = eulerZyx(q);
        EXPECT_LT(angleBetween(composed(angles[0], angles[1], angles[2]), q), 2e-6) << i;
        EXPECT_LE(std::abs(angles[1]), M_PI / 2);
        EXPECT_NEAR((eulerZyx(-q) - angles).norm(), 0.0, 1e-12);
    }
    EXPECT_NEAR(eulerZyx(composed(0.3, -0.2, 0.1))[0], 0.3, 1e-15);
    EXPECT_NEAR(eulerZyx(composed(0.3, -0.2, 0.1))[1], -0.2, 1e-15);
    EXPECT_NEAR(eulerZyx(composed(0.3, -0.2, 0.1))[2], 0.1, 1e-15);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
