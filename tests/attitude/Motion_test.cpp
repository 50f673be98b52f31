#include "support/Motion.h"

#include "support/Matchers.h"

namespace Kavelin::Tests {
namespace {

MotionSettings eventful() {
    MotionSettings settings;
    settings.position = {Wave{0.3, 0.4, 0}, Wave{0.2, 0.7, 1}, Wave{0.1, 1.1, 2}};
    settings.rests = {{3, 5}, {8, 8.5, 0.2}};
    return settings;
}

// The motion is the truth of other tests, so its rate must be the derivative of its attitude at every phase
// of a rest.
TEST(Motion, RateIsTheDerivativeOfTheAttitude) {
    const Motion motion(eventful());
    const double h = 1e-5;
    for (double t = 0.013; t < 10; t += 0.05) {
        const MotionState now = motion.at(t);
        const Eigen::Quaterniond step =
            motion.at(t - h).q_earth_sensor.conjugate() * motion.at(t + h).q_earth_sensor;
        const Eigen::Vector3d rate = 2 * step.vec() / (2 * h);
        EXPECT_NEAR((rate - now.rate).norm(), 0, 1e-7) << "t = " << t;
    }
}

TEST(Motion, IsStillInARestAndMovesOutsideIt) {
    const Motion motion(eventful());
    for (const double t : {3.0, 4.0, 5.0, 8.2}) {
        const MotionState state = motion.at(t);
        EXPECT_EQ(state.rate.norm(), 0) << t;
        EXPECT_THAT(state.R_earth_sensor * state.acc, isNearMatrix(Eigen::Vector3d(0, 0, 9.81), 1e-12)) << t;
    }
    EXPECT_THAT(motion.at(5.0).wxyz(), isSameRotationAs(motion.at(3.0).wxyz(), 1e-12));
    EXPECT_GT(motion.at(6.0).rate.norm(), 0.1);
    EXPECT_THAT(motion.at(6.0).R_earth_sensor * motion.at(6.0).field,
                isNearMatrix(motion.fieldInEarth(), 1e-12));
}

TEST(Motion, SpecificForceIsTheSecondDerivativeOfThePosition) {
    MotionSettings settings = eventful();
    settings.yaw = settings.pitch = settings.roll = Curve{};
    settings.position = {Wave{0.3, 0.4, 0}, Wave{}, Wave{}};
    const Motion motion(settings);
    double speed = 0, place = 0;  // both from rest at t = 4, where the path stands still at s = 2.75
    const double h = 1e-4;
    for (int i = 0; i < 30000; ++i) {
        const double half = motion.at(4 + (i + 0.5) * h).acc.x();
        place += h * (speed + h * half / 2);
        speed += h * half;
    }
    const auto x = [](double s) { return 0.3 * std::sin(2 * std::numbers::pi * 0.4 * s); };
    EXPECT_NEAR(place, x(4.5) - x(2.75), 1e-6) << "2 s of rest and two ramps of 0.5 s, half lost each";
}

TEST(Motion, RecordingIsSeededAndCarriesItsErrors) {
    SensorErrors errors;
    errors.rateBias = {0.1, 0.2, 0.3};
    errors.accNoise = 0.5;
    const auto first = record(Motion(), 10, 100, errors, 7);
    const auto again = record(Motion(), 10, 100, errors, 7);
    ASSERT_EQ(first.size(), 1001U);
    EXPECT_EQ(first.back().t, 10);
    EXPECT_EQ(first.back().acc, again.back().acc);
    double squares = 0;
    for (const MotionSample& s : first) {
        EXPECT_THAT(s.rate - s.truth.rate, isNearMatrix(errors.rateBias, 1e-12));
        squares += (s.acc - s.truth.acc).squaredNorm();
    }
    EXPECT_NEAR(std::sqrt(squares / 3 / static_cast<double>(first.size())), 0.5, 0.05);
}

}  // namespace
}  // namespace Kavelin::Tests
