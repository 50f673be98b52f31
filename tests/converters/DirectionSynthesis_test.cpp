#include "converters/DirectionSynthesis.h"

#include "attitude/AbsoluteAttitudeComputer.h"
#include "attitude/AngleConstants.h"
#include "support/Matchers.h"

namespace Kavelin::OrientationInternal {
namespace {

using Tests::isNearMatrix;

TEST(DirectionSynthesis, FrameOfTheDirectionsIsTheAttitude) {
    const Vector3 rows[] = {{0, 0, 0},    {30, -40, 50}, {90, 0, 0},      {0, 90, 0},
                            {10, -90, 5}, {0, 0, 180},   {190, 100, -170}};
    for (const Vector3& degrees : rows) {
        SCOPED_TRACE(degrees.transpose());
        const Vector3 e = degrees * kDegreesToRadians;
        const Eigen::Matrix3d attitude =
            (Eigen::AngleAxisd(e[0], Vector3::UnitZ()) * Eigen::AngleAxisd(e[1], Vector3::UnitY()) *
             Eigen::AngleAxisd(e[2], Vector3::UnitX()))
                .toRotationMatrix();
        const auto d = synthesizeDirections(degrees);
        EXPECT_THAT(d.mag, Tests::hasUnitNorm(1e-14));
        EXPECT_THAT(AbsoluteAttitudeComputer::frameFromGravityAndField(d.acc, d.mag),
                    isNearMatrix(attitude, 1e-14));
    }
}

TEST(DirectionSynthesis, LevelIsExact) {
    const auto d = synthesizeDirections({0, 0, 0});
    EXPECT_EQ(d.acc, Vector3(0, 0, 1));
    EXPECT_EQ(d.mag, Vector3(0.49999999999999994, 0, 0.8660254037844387));
}

TEST(DirectionSynthesis, AnglesWrapBelowHalfATurn) {
    // Half a turn is taken as minus pi, which only the sign of the sine's rounding shows: sin(-pi) < 0 <
    // sin(pi).
    for (const double degrees : {180.0, 540.0, -180.0}) {
        EXPECT_EQ(synthesizeDirections({0, degrees, 0}).acc.x(), -std::sin(-kPi)) << degrees;
    }
    EXPECT_THAT(synthesizeDirections({190, 0, 0}).mag,
                isNearMatrix(synthesizeDirections({-170, 0, 0}).mag, 1e-15));
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
