#pragma once

#include <Eigen/Core>

namespace Kavelin::OrientationInternal {

/// Computes pitch and roll of an accelerometer sample in the sensor frame, both in rad:
/// pitch = -atan2(x, |(y, z)|), roll = atan2(y, |(x, z)|). A zero vector gives -0.0 and 0.0.  Never throws.
/// @return true, always.
bool inclinationAngles(const Eigen::Vector3d& acc, double& pitch, double& roll);

}  // namespace Kavelin::OrientationInternal
