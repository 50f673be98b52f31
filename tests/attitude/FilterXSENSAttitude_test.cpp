#include "attitude/FilterXSENSAttitude.h"

#include "support/FilterTest.h"
#include "support/RotationCases.h"
#include "support/WallClock.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

TEST(FilterXSENSAttitude, SendsFlippedAxesRelativeToTheFirstGoodSampleAfterEachReference) {
    const Eigen::Matrix3d flip = Eigen::Vector3d(-1, 1, -1).asDiagonal();
    const auto cases = rotationCases();
    FilterHarness<FilterXSENSAttitude> h;
    for (const std::size_t reference : {4u, 20u}) {
        h.feed("attitude xsens", 5, Matrix::Ones(3, 1));  // dropped, and the request waits
        for (std::size_t i = reference; i < cases.size(); ++i) h.feed("attitude xsens", 5, cases[i].matrix());
        h.clear();
        h.process(1000);
        ASSERT_EQ(h.sends().size(), cases.size() - reference);
        const Eigen::Matrix3d first = cases[reference].matrix();
        for (std::size_t i = reference; i < cases.size(); ++i) {
            const Eigen::Matrix3d expected = flip * cases[i].matrix() * first.transpose() * flip.transpose();
            EXPECT_THAT(h.sends()[i - reference].value, isNearMatrix(expected, 1e-14)) << cases[i].name;
            EXPECT_THAT(h.sends()[i - reference].t, IsWallClock());
        }
        h.command("Reference");
    }
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
