#include "attitude/spherical/SphericalAttitudeComputer.h"

#include "support/Estimators.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Eigen::Vector3d;

TEST(SphericalAttitudeComputer, FirstSampleFixesTheVerticalAndTheHeading) {
    const MotionState pose = Motion().at(7.0);
    SphericalAttitudeComputer computer;
    EXPECT_FALSE(computer.advance(0, Vector3d::Zero(), pose.rate, pose.field)) << "no gravity, no attitude";
    ASSERT_TRUE(computer.advance(1, pose.acc, pose.rate, pose.field));
    EXPECT_LT(errorDegrees(computer.attitude(), pose.q_earth_sensor), 1e-6);
    EXPECT_FALSE(computer.fieldDisturbed());
}

TEST(SphericalAttitudeComputer, WithoutAFieldTheSensorsXAxisIsNorth) {
    const Vector3d none = Vector3d::Constant(kNaN);
    struct Case {
        Vector3d acc;
        Vector3d north;  // the sensor's axis that must point north
    };
    for (const Case& c : {Case{{0, 0, 9.81}, {1, 0, 0}}, Case{{9.81, 0, 0}, {0, 1, 0}}}) {
        SphericalAttitudeComputer computer;
        ASSERT_TRUE(computer.advance(0, c.acc, Vector3d::Zero(), none));
        EXPECT_LT((computer.attitude() * c.north - Vector3d::UnitY()).norm(), 1e-12);
        EXPECT_TRUE(computer.fieldDisturbed());
    }
}

TEST(SphericalAttitudeComputer, ProperAccelerationIsInTheEarthFrame) {
    SphericalAttitudeComputer computer;
    const MotionState pose = Motion().at(3.0);
    const Vector3d push(0.3, -0.2, 0.1);  // m/s^2 East, North, Up; too short and small to move the vertical
    for (int i = 0; i <= 1000; ++i) {
        const Vector3d acc = pose.R_earth_sensor.transpose() * (Vector3d(0, 0, 9.81) + (i == 1000) * push);
        computer.advance(i * 0.005, acc, Vector3d::Zero(), pose.field);
    }
    EXPECT_LT((computer.properAcceleration() - push).norm(), 1e-3);
}

TEST(SphericalAttitudeComputer, RecoversWhenASensorFallsSilentOrGoesWild) {
    struct Case {
        const char* name;
        bool acc, rate, field;  // which sensors fail
        double duration;        // s
        double junk;            // what they give
        double recovery;        // s after which the error is small again
    };
    for (const Case& c : {Case{"acc silent", true, false, false, 20, NAN, 5},
                          Case{"field silent", false, false, true, 20, NAN, 0},
                          Case{"rate silent", false, true, false, 0.5, NAN, 60},
                          Case{"all wild", true, true, true, 0.05, 500, 60}}) {
        SphericalAttitudeComputer computer;
        double most = 0;
        for (const MotionSample& s : recordDisturbed({.duration = 100})) {
            const bool fails = s.t >= 20 && s.t < 20 + c.duration;
            const Vector3d junk = Vector3d::Constant(c.junk);
            computer.advance(s.t, fails && c.acc ? junk : s.acc, fails && c.rate ? junk : s.rate,
                             fails && c.field ? junk : s.field);
            if (s.t < 20 + c.duration + c.recovery) continue;
            most = std::max(most, errorDegrees(computer.attitude(), s.truth.q_earth_sensor));
        }
        EXPECT_LT(most, 2.0) << c.name;
    }
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
