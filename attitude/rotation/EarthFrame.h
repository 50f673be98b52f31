#pragma once

#include <Eigen/Geometry>

namespace Kavelin::OrientationInternal {

/// R_earth_sensor (to East, North, Up) from two directions given in the sensor frame.
/// @param up, north unit vectors, normal to each other (not checked). Never throws. [any thread]
inline Eigen::Matrix3d earthFrameFromAxes(const Eigen::Vector3d& up, const Eigen::Vector3d& north) {
    Eigen::Matrix3d R_earth_sensor;
    R_earth_sensor.row(0) = north.cross(up);
    R_earth_sensor.row(1) = north;
    R_earth_sensor.row(2) = up;
    return R_earth_sensor;
}

/// Attitude that turns `gravity` (sensor frame, not zero) onto Up by the shortest turn: its heading is
/// arbitrary. Where the sensor lies upside down, the half turn is one about its x axis.
/// Never throws. [any thread]
inline Eigen::Quaterniond attitudeFromGravity(const Eigen::Vector3d& gravity) {
    return Eigen::Quaterniond::FromTwoVectors(gravity, Eigen::Vector3d::UnitZ());
}

/// Attitude with Up along `gravity` and North along the horizontal part of `field`, both in the sensor frame.
/// A field within 1e-3 rad of the vertical, or zero, has no heading: the shortest turn instead.
/// @param gravity not zero. Never throws. [any thread]  Source: TRIAD, Black, AIAA J. 2(7), 1964.
inline Eigen::Quaterniond attitudeFromGravityAndField(const Eigen::Vector3d& gravity,
                                                      const Eigen::Vector3d& field) {
    constexpr double kSmallestHorizontalPart = 1e-3;
    const Eigen::Vector3d up = gravity.normalized();
    const Eigen::Vector3d horizontal = field - up * up.dot(field);
    const double length = horizontal.norm();
    if (!(length > kSmallestHorizontalPart * field.norm())) return attitudeFromGravity(gravity);
    return Eigen::Quaterniond(earthFrameFromAxes(up, horizontal / length));
}

}  // namespace Kavelin::OrientationInternal
