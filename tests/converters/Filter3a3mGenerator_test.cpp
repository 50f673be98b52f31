#include "converters/Filter3a3mGenerator.h"

#include "attitude/rotation/AngleConstants.h"
#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

TEST(Filter3a3mGenerator, SendsUpAndAFieldThirtyDegreesFromItAsTheAttitudeShowsThem) {
    FilterHarness<Filter3a3mGenerator> h;
    const auto turn = [](double degrees, const Eigen::Vector3d& axis) {
        return Eigen::AngleAxisd(degrees * kDegreesToRadians, axis);
    };
    for (int i = 0; i < 36; ++i) {
        const Eigen::Vector3d e(10.0 * i - 180, 5.0 * i - 90, 37.0 * i);
        const Eigen::Matrix3d R_earth_sensor =
            (turn(e[0], Eigen::Vector3d::UnitZ()) * turn(e[1], Eigen::Vector3d::UnitY()) *
             turn(e[2], Eigen::Vector3d::UnitX()))
                .toRotationMatrix();
        h.clear();
        const char* const pins[] = {"yaw", "pitch", "roll"};
        for (int k = 0; k < 3; ++k) h.feed(pins[k], i, row({e[k]}));
        h.process();
        EXPECT_THAT(h.sent("3a").at(0).value, isNearMatrix(Matrix(R_earth_sensor.row(2)), 1e-12)) << i;
        const Matrix field = std::sqrt(0.75) * R_earth_sensor.row(2) + 0.5 * R_earth_sensor.row(0);
        EXPECT_THAT(h.sent("3m").at(0).value, isNearMatrix(field, 1e-12)) << i;
    }
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
