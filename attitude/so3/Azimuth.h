#pragma once

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>

#include "attitude/rotation/Angles.h"

namespace Kavelin::OrientationInternal::SO3 {

// Directions over the horizon of the earth frame (East, North, Up). None of these throws. [any thread]

/// Length of the horizontal part.
inline double horizontalLength(const Eigen::Vector3d& v) { return std::sqrt(v.x() * v.x() + v.y() * v.y()); }

/// Angle east of north, rad, [-pi, pi]; 0 for a vertical vector.
inline double azimuthOf(const Eigen::Vector3d& v) { return std::atan2(v.x(), v.y()); }

/// A turn about Up; a positive angle takes East towards North.
/// Turning a vector by its azimuth takes it to North.
class TurnAboutUp {
public:
    explicit TurnAboutUp(double angle)
        : cosine_(std::cos(angle)), sine_(std::sin(angle)), half_(0.5 * angle) {}

    Eigen::Vector3d operator*(const Eigen::Vector3d& v) const {
        return {cosine_ * v.x() - sine_ * v.y(), sine_ * v.x() + cosine_ * v.y(), v.z()};
    }
    Eigen::Matrix3d operator*(const Eigen::Matrix3d& m) const {
        Eigen::Matrix3d turned = m;
        turned.row(0) = cosine_ * m.row(0) - sine_ * m.row(1);
        turned.row(1) = sine_ * m.row(0) + cosine_ * m.row(1);
        return turned;
    }
    Eigen::Quaterniond operator*(const Eigen::Quaterniond& q) const {
        return Eigen::Quaterniond(std::cos(half_), 0.0, 0.0, std::sin(half_)) * q;
    }

private:
    double cosine_;
    double sine_;
    double half_;
};

}  // namespace Kavelin::OrientationInternal::SO3
