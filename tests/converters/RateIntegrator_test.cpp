#include "converters/RateIntegrator.h"

#include "attitude/AngleConstants.h"
#include "support/Matchers.h"
#include "support/Motion.h"

namespace Kavelin::OrientationInternal {
namespace {

using Tests::isNearMatrix;

TEST(RateIntegrator, TurnsMultiplyUpToTheTrueAttitude) {
    const Tests::Motion motion;
    RateIntegrator integrator;
    Eigen::Matrix3d attitude = motion.at(0).R_earth_sensor;
    const double h = 0.01;
    integrator.advance(Vector3::Zero(), 0);
    for (int i = 1; i <= 1000; ++i) attitude *= integrator.advance(motion.at((i - 0.5) * h).rate, i * h);
    EXPECT_LT(Tests::angleBetween(attitude, motion.at(10).R_earth_sensor), 1e-4);
}

TEST(RateIntegrator, FirstSampleAndTheOneAfterClearGiveTheIdentity) {
    RateIntegrator integrator;
    EXPECT_EQ(integrator.advance({1, 2, 3}, 5), Matrix3::Identity());
    Matrix3 quarter;
    quarter << 0, -1, 0, 1, 0, 0, 0, 0, 1;
    EXPECT_THAT(integrator.advance({0, 0, kHalfPi}, 6), isNearMatrix(quarter, 1e-15));
    EXPECT_THAT(integrator.advance({0, 0, kHalfPi}, 5), isNearMatrix(quarter.transpose(), 1e-15))
        << "time went back";
    integrator.clear();
    EXPECT_EQ(integrator.advance({1, 2, 3}, 9), Matrix3::Identity());
}

TEST(RateIntegrator, TimeStampMinusOneMeansNone) {
    RateIntegrator integrator;
    integrator.advance({0, 0, 1}, -1);
    EXPECT_EQ(integrator.advance({0, 0, 1}, 1), Matrix3::Identity());
}

TEST(RateIntegrator, SlowestRatesAreTakenToFirstOrder) {
    RateIntegrator integrator;
    integrator.advance(Vector3::Zero(), 0);
    Matrix3 firstOrder;
    firstOrder << 1, 0, 0, 0, 1, -1, 0, 1, 1;
    EXPECT_THAT(integrator.advance({1e-9, 0, 0}, 1e9), isNearMatrix(firstOrder, 1e-12)) << "no rotation";
    EXPECT_THAT(integrator.advance({1.01e-9, 0, 0}, 2e9), Tests::isOrthonormal(1e-12));
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
