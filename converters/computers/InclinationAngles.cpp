#include "converters/computers/InclinationAngles.h"

#include <cmath>

namespace Kavelin::OrientationInternal {

bool inclinationAngles(const Eigen::Vector3d& acc, double& pitch, double& roll) {
    const double x2 = acc.x() * acc.x();
    const double y2 = acc.y() * acc.y();
    const double z2 = acc.z() * acc.z();
    pitch = -std::atan2(acc.x(), std::sqrt(z2 + y2));
    roll = std::atan2(acc.y(), std::sqrt(x2 + z2));
    return true;
}

}  // namespace Kavelin::OrientationInternal
