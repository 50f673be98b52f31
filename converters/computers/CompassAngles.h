#pragma once

#include <Eigen/Core>

namespace Kavelin::OrientationInternal {

/// Heading (about z), tilt (in the x-z plane) and magnitude of a field.
struct CompassAngles {
    double heading;  ///< rad, atan2(-y, x); 0 where the x-y component is at most 1e-6 long
    double tilt;     ///< rad, atan2(z, x); 0 where the x-z component is at most 1e-6 long
    double norm;     ///< unit of the field
};

/// Computes the angles of a magnetometer sample in the sensor frame. Never throws;
/// NaN components give angles of 0.
CompassAngles compassAngles(const Eigen::Vector3d& mag);

}  // namespace Kavelin::OrientationInternal
