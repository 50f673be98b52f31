#include "attitude/RelativeAttitudeComputer.h"

#include "support/Matchers.h"
#include "support/RotationCases.h"

namespace Kavelin::OrientationInternal {
namespace {

TEST(RelativeAttitudeComputer, AppliesTheReferenceOnTheChosenSide) {
    const auto cases = Tests::rotationCases();
    RelativeAttitudeComputer computer;
    for (std::size_t i = 1; i < cases.size(); ++i) {
        SCOPED_TRACE(cases[i].name);
        const Eigen::Matrix3d r0 = cases[i - 1].matrix();
        const Eigen::Matrix3d r = cases[i].matrix();
        computer.setReference(r0, true);
        EXPECT_THAT(computer.compute(r0), Tests::isNearMatrix(Matrix3::Identity(), 1e-14));
        EXPECT_THAT(computer.compute(r), Tests::isNearMatrix(r * r0.transpose(), 1e-14));
        computer.setReference(r0, false);
        EXPECT_THAT(computer.compute(r), Tests::isNearMatrix(r0.transpose() * r, 1e-14));
    }
}

TEST(RelativeAttitudeComputer, StartsWithTheIdentity) {
    const Matrix3 any = Matrix3::Random();
    EXPECT_EQ(RelativeAttitudeComputer().compute(any), any);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
