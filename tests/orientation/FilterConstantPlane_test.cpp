#include "orientation/FilterConstantPlane.h"

#include "attitude/rotation/AngleConstants.h"
#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

class FilterConstantPlaneTest : public testing::Test {
protected:
    double angle(const Matrix& field) {
        h_.clear();
        h_.feed("3m", 4, field);
        h_.process();
        return h_.sent("angle").at(0).value(0, 0);
    }
    Matrix attitude() const { return h_.sent("attitude").at(0).value; }

    FilterHarness<FilterConstantPlane> h_;
};

TEST_F(FilterConstantPlaneTest, FollowsTheHeadingOfATurnInThePlane) {
    MotionSettings settings;
    settings.yaw = {0.4, 0, {1.3, 0.2, 0.3}, {0.2, 0.6, 1}};
    settings.pitch = settings.roll = {};
    const Motion motion(settings);
    const Eigen::Matrix3d start = motion.at(0).R_earth_sensor;
    for (const auto& s : record(motion, 10, 20)) {
        EXPECT_NEAR(angle(s.field.transpose()), settings.yaw.at(s.t).value - settings.yaw.at(0).value, 1e-12);
        EXPECT_THAT(attitude(), isNearMatrix(start.transpose() * s.truth.R_earth_sensor, 1e-12));
    }
}

TEST_F(FilterConstantPlaneTest, ReferenceAndEveryWriteOfThePlaneTakeTheNextSample) {
    angle(row({5, 0, 3}));
    h_.command("reference");
    EXPECT_EQ(angle(row({0, 5, 3})), 0);
    EXPECT_NEAR(angle(row({5, 0, 3})), kHalfPi, 1e-15);
    EXPECT_THROW(h_.set("plane.x", "11"), Poco::RangeException);
    EXPECT_EQ(angle(row({5, 0, 3})), 0) << "refused, but its handler ran";
    h_.set("plane.x", "1");
    h_.set("plane.z", "0");
    EXPECT_EQ(angle(row({9, 0, 2})), 0);
    EXPECT_NEAR(angle(row({9, 2, 0})), kHalfPi, 1e-15) << "about x now";
    h_.set("plane.x", "0");
    EXPECT_NEAR(angle(row({9, 2, 0})), kHalfPi, 1e-15) << "a normal of no length leaves plane and reference";
    EXPECT_TRUE(std::isnan(angle(row({9, 0, 0})))) << "along the normal, this once";
    EXPECT_NEAR(angle(row({9, 2, 0})), kHalfPi, 1e-15);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
