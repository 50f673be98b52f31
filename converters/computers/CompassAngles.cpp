#include "converters/computers/CompassAngles.h"

#include <cmath>

namespace Kavelin::OrientationInternal {

namespace {

// A shorter projection has no reliable direction.
constexpr double kShortestProjection = 1e-6;

double directionOf(double opposite, double adjacent, double length) {
    if (std::abs(length) > kShortestProjection) return std::atan2(opposite / length, adjacent / length);
    return 0.0;
}

}  // namespace

CompassAngles compassAngles(const Eigen::Vector3d& mag) {
    const double x2 = mag.x() * mag.x();
    const double y2 = mag.y() * mag.y();
    const double z2 = mag.z() * mag.z();
    return {directionOf(-mag.y(), mag.x(), std::sqrt(x2 + y2)),
            directionOf(mag.z(), mag.x(), std::sqrt(z2 + x2)), std::sqrt(z2 + (x2 + y2))};
}

}  // namespace Kavelin::OrientationInternal
