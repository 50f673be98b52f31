#include "support/Motion.h"

#include "support/Matchers.h"
#include "support/TestKit.h"

namespace Kavelin::Tests {
namespace {

// The motion is the truth of other tests, so its parts must fit each other in every phase of a rest.
TEST(Motion, RateAndForceAreTheDerivativesOfAttitudeAndPlace) {
    MotionSettings turning, shaking;
    turning.rests = shaking.rests = {{3, 5}, {8, 8.5, 0.2}};
    shaking.yaw = shaking.pitch = shaking.roll = {};
    shaking.position = {Wave{0.3, 0.4, 0}, {}, {}};
    const Motion turn(turning), shake(shaking);
    const double h = 1e-4;
    double speed = 0, place = 0;
    for (int i = 0; i < 100000; ++i) {
        const double t = (i + 0.5) * h;
        if (i % 100 == 0) {
            const auto step = turn.at(t - h).q_earth_sensor.conjugate() * turn.at(t + h).q_earth_sensor;
            ASSERT_NEAR((step.vec() / h - turn.at(t).rate).norm(), 0, 1e-6) << t;
        }
        const double force = shake.at(t).acc.x();
        if (i == 0) speed = 0.3 * 2 * std::numbers::pi * 0.4;
        place += h * (speed + h * force / 2);
        speed += h * force;
    }
    const double path = 10 - 2 - 0.5 - 0.5 - 0.2;  // without the rests and half of each ramp
    EXPECT_NEAR(place, 0.3 * std::sin(2 * std::numbers::pi * 0.4 * path), 1e-6);
    EXPECT_EQ(turn.at(4).rate.norm(), 0);
    EXPECT_THAT(turn.at(6).R_earth_sensor * turn.at(6).field, isNearMatrix(turn.fieldInEarth(), 1e-12));
}

}  // namespace
}  // namespace Kavelin::Tests
