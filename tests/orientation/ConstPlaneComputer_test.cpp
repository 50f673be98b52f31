#include "orientation/ConstPlaneComputer.h"

#include <cmath>

#include "attitude/AngleConstants.h"
#include "support/Matchers.h"
#include "support/RotationCases.h"

namespace Kavelin::OrientationInternal {
namespace {

TEST(ConstPlaneComputer, AngleIsMinusTheRightHandedTurnAboutTheNormal) {
    for (const auto& c : Tests::rotationCases()) {
        SCOPED_TRACE(c.name);
        const Vector3 reference = c.axis.unitOrthogonal() * 3 + c.axis * 0.7;  // partly out of the plane
        ConstPlaneComputer computer;
        computer.setPlane(c.axis * 2.5, reference);
        const double back = computer.angle(c.matrix() * reference);
        EXPECT_NEAR(std::cos(back), std::cos(c.angle), 1e-14);
        EXPECT_NEAR(std::sin(back), -std::sin(c.angle), 1e-14);
    }
}

TEST(ConstPlaneComputer, StartsInThePlaneOfYAndZ) {
    const ConstPlaneComputer computer;
    EXPECT_EQ(computer.angle({5, 0, 2}), -kHalfPi);
    const double atReference = computer.angle({5, 2, 0});
    EXPECT_EQ(atReference, 0);
    EXPECT_TRUE(std::signbit(atReference)) << "the negated arc tangent of 0";
}

TEST(ConstPlaneComputer, NewReferenceKeepsTheNormal) {
    ConstPlaneComputer computer;
    computer.setPlane({0, 0, 4}, {1, 0, 9});
    computer.resetReference({0, 1, -9});
    EXPECT_EQ(computer.angle({0, 7, 3}), 0);
    EXPECT_NEAR(computer.angle({7, 0, 3}), kHalfPi, 1e-15);
}

TEST(ConstPlaneComputer, ProjectionsThatVanishGiveNaN) {
    ConstPlaneComputer computer;
    EXPECT_TRUE(std::isnan(computer.angle({3, 0, 0}))) << "along the normal";
    computer.setPlane({0, 0, 1}, {0, 0, 2});
    EXPECT_TRUE(std::isnan(computer.angle({1, 2, 3}))) << "after a reference along the normal";
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
