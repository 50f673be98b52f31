#include "orientation/FilterConstantPlane.h"

#include <cmath>

#include "attitude/AngleConstants.h"
#include "support/FilterHarness.h"
#include "support/Matchers.h"
#include "support/Motion.h"

namespace Kavelin::OrientationInternal {
namespace {

using Testing::column;
using Testing::FilterHarness;
using Testing::row;
using Tests::isNearMatrix;

class FilterConstantPlaneTest : public testing::Test {
protected:
    double angle(const Matrix& field) {
        h_.clear();
        h_.feed("3m", 4, field);
        h_.process();
        return h_.sends().empty() ? 99 : h_.sends()[0].value(0, 0);
    }
    Matrix attitude() const { return h_.sent("attitude").at(0).value; }

    const Matrix identity_ = Matrix::Identity(3, 3);
    FilterHarness<FilterConstantPlane> h_;
};

TEST_F(FilterConstantPlaneTest, FollowsTheHeadingOfATurnInThePlane) {
    Tests::MotionSettings settings;
    settings.yaw = {0.4, 0, {1.3, 0.2, 0.3}, {0.2, 0.6, 1}};
    settings.pitch = settings.roll = {};
    const Tests::Motion motion(settings);
    const Eigen::Matrix3d start = motion.at(0).R_earth_sensor;
    for (const auto& s : Tests::record(motion, 10, 20)) {
        EXPECT_NEAR(angle(s.field.transpose()), settings.yaw.at(s.t).value - settings.yaw.at(0).value, 1e-12);
        EXPECT_THAT(attitude(), isNearMatrix(start.transpose() * s.truth.R_earth_sensor, 1e-12));
    }
}

TEST_F(FilterConstantPlaneTest, SendsTheAngleThenTheAttitudeStampedLikeTheField) {
    EXPECT_EQ(angle(row({5, 0, 3})), 0);
    EXPECT_TRUE(std::signbit(h_.sends()[0].value(0, 0)));
    EXPECT_EQ(attitude(), identity_);
    EXPECT_EQ(angle(column({0, 5, 3})), -kHalfPi) << "the field turned by +90 degrees";
    ASSERT_EQ(h_.sends().size(), 2u);
    EXPECT_EQ(h_.sends()[0].pin, "angle");
    EXPECT_EQ(h_.sends()[1].pin, "attitude");
    for (const auto& sent : h_.sends()) EXPECT_EQ(sent.t, 4);
    for (const Matrix& wrong : {row({1, 2}), row({1, 2, 3, 4}), Matrix()}) EXPECT_EQ(angle(wrong), 99);
}

TEST_F(FilterConstantPlaneTest, ReferenceAndPlaneTakeTheNextSampleAsTheirReference) {
    angle(row({5, 0, 3}));
    h_.command("reference");
    EXPECT_EQ(angle(row({0, 5, 3})), 0);
    EXPECT_NEAR(angle(row({5, 0, 3})), kHalfPi, 1e-15);
    h_.set("plane.x", "1");
    h_.set("plane.z", "0");
    EXPECT_EQ(angle(row({9, 0, 2})), 0);
    EXPECT_NEAR(angle(row({9, 2, 0})), kHalfPi, 1e-15) << "about x now";
}

TEST_F(FilterConstantPlaneTest, AxisHasUnitLengthOnlyInTheCallThatSetsThePlane) {
    angle(row({5, 0, 3}));
    h_.set("plane.z", "2");
    const Matrix field = row({0, 5, 3});
    EXPECT_EQ(angle(field), 0) << "the sample after a change is the reference";
    EXPECT_THAT(attitude(), isNearMatrix(identity_));
    const double back = angle(row({5, 0, 3}));
    EXPECT_NEAR(back, kHalfPi, 1e-15) << "the angle does not know the length";
    const double c = std::cos(back), s = std::sin(back);
    Matrix scaled(3, 3);
    scaled << c, -2 * s, 0, 2 * s, c, 0, 0, 0, 4 * (1 - c) + c;
    EXPECT_THAT(attitude(), isNearMatrix(scaled));
}

TEST_F(FilterConstantPlaneTest, NormalOfNoLengthLeavesThePlane) {
    angle(row({5, 0, 3}));
    h_.set("plane.z", "0");
    EXPECT_NEAR(angle(row({0, 5, 3})), -kHalfPi, 1e-15) << "still about z, from the old reference";
    EXPECT_THAT(attitude(), isNearMatrix(std::cos(kHalfPi) * identity_)) << "but about an axis of no length";
}

TEST_F(FilterConstantPlaneTest, RefusedComponentStillSetsThePlaneAnew) {
    angle(row({5, 0, 3}));
    EXPECT_THROW(h_.set("plane.x", "11"), Poco::RangeException);
    EXPECT_EQ(angle(row({0, 5, 3})), 0) << "its handler ran, so this sample is the reference";
}

TEST_F(FilterConstantPlaneTest, FieldAlongTheNormalGivesNaNUntilTheNextReference) {
    EXPECT_TRUE(std::isnan(angle(row({0, 0, 3}))));
    EXPECT_TRUE(std::isnan(angle(row({5, 0, 3}))));
    h_.command("reference");
    EXPECT_EQ(angle(row({5, 0, 3})), 0);
    EXPECT_TRUE(std::isnan(angle(row({0, 0, 3}))));
    EXPECT_EQ(angle(row({5, 0, 3})), 0);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
