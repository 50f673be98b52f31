#include "converters/computers/RateIntegrator.h"

#include "support/Matchers.h"
#include "support/Motion.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

TEST(RateIntegrator, TurnsMultiplyUpToTheTrueAttitudeAndBackAgain) {
    const Motion motion;
    RateIntegrator integrator;
    const Eigen::Matrix3d start = motion.at(0).R_earth_sensor;
    Eigen::Matrix3d attitude = start;
    const double h = 0.01;
    integrator.advance(Vector3::Zero(), 0);
    for (int i = 1; i <= 1000; ++i) attitude *= integrator.advance(motion.at((i - 0.5) * h).rate, i * h);
    EXPECT_LT(angleBetween(attitude, motion.at(10).R_earth_sensor), 1e-4);
    for (int i = 999; i >= 0; --i) attitude *= integrator.advance(motion.at((i + 0.5) * h).rate, i * h);
    EXPECT_THAT(attitude, isSameRotationAs(start, 1e-12)) << "time that goes back undoes the turns";
}

TEST(RateIntegrator, TimeStampMinusOneMeansNone) {
    RateIntegrator integrator;
    integrator.advance({0, 0, 1}, -1);
    EXPECT_EQ(integrator.advance({0, 0, 1}, 1), Matrix3::Identity());
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
