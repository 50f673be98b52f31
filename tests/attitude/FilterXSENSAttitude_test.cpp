#include "attitude/FilterXSENSAttitude.h"

#include "support/FilterHarness.h"
#include "support/Matchers.h"
#include "support/RotationCases.h"
#include "support/WallClock.h"

namespace Kavelin::OrientationInternal {
namespace {

using Testing::column;
using Testing::FilterHarness;
using Tests::isNearMatrix;

class FilterXSENSAttitudeTest : public testing::Test {
protected:
    Matrix send(const Matrix& sample) {
        h_.clear();
        h_.feed("attitude xsens", 5, sample);
        h_.process();
        return h_.sends().empty() ? Matrix() : h_.sends()[0].value;
    }

    const Matrix identity_ = Matrix::Identity(3, 3);
    FilterHarness<FilterXSENSAttitude> h_;
};

TEST_F(FilterXSENSAttitudeTest, OutputIsRelativeToTheFirstSampleInFlippedAxes) {
    const Eigen::Matrix3d flip = Eigen::Vector3d(-1, 1, -1).asDiagonal();
    const auto cases = Tests::rotationCases();
    const Eigen::Matrix3d first = cases[1].matrix();
    EXPECT_THAT(send(first), isNearMatrix(identity_));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_THAT(send(c.matrix()),
                    isNearMatrix(flip * c.matrix() * first.transpose() * flip.transpose(), 1e-14));
    }
}

TEST_F(FilterXSENSAttitudeTest, ReferenceCommandCapturesTheNextSampleOfTheRightShape) {
    const Matrix quarter = Eigen::AngleAxisd(1.0, Eigen::Vector3d::UnitZ()).toRotationMatrix();
    EXPECT_EQ(send(column({1, 2, 3})).size(), 0) << "the first request waits";
    EXPECT_THAT(send(quarter), isNearMatrix(identity_));
    EXPECT_THAT(send(identity_), isNearMatrix(quarter)) << "back by the flipped turn";
    h_.command("Reference");
    EXPECT_EQ(send(Matrix::Ones(1, 9)).size(), 0);
    EXPECT_THAT(send(identity_), isNearMatrix(identity_));
    EXPECT_THAT(send(identity_), isNearMatrix(identity_));
}

TEST_F(FilterXSENSAttitudeTest, StampsWithTheWallClock) {
    send(identity_);
    EXPECT_THAT(h_.sends().at(0).t, Tests::IsWallClock());
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
