#pragma once

#include <Eigen/Core>

namespace Kavelin::OrientationInternal {

// What counts as a measurement. One comparison of a squared norm refuses NaNs, infinities and values that a
// sensor cannot have, so that the estimators behind it cannot overflow. Thread: any; none of these throws.

/// m/s^2; a thousand times gravity. Below the lower bound, less than the noise of any sensor, an acceleration
/// has no direction.
inline constexpr double kLargestAcceleration = 1e4;
inline constexpr double kSmallestAcceleration = 1e-6;
/// rad/s; a hundred and sixty turns a second.
inline constexpr double kLargestRate = 1e3;
/// Any unit of the field: the bounds only keep the square within the range of a double.
inline constexpr double kLargestField = 1e100;
inline constexpr double kSmallestField = 1e-100;

/// Tells whether `acc` (m/s^2) is finite, below 1e4 and longer than 1e-6.
inline bool isUsableAcceleration(const Eigen::Vector3d& acc) {
    const double squared = acc.squaredNorm();
    return squared < kLargestAcceleration * kLargestAcceleration &&
           squared > kSmallestAcceleration * kSmallestAcceleration;
}

/// Tells whether `rate` (rad/s) is finite and below 1e3; zero is a rate.
inline bool isUsableRate(const Eigen::Vector3d& rate) {
    return rate.squaredNorm() < kLargestRate * kLargestRate;
}

/// Tells whether `field` (any unit) is finite and not zero.
inline bool isUsableField(const Eigen::Vector3d& field) {
    const double squared = field.squaredNorm();
    return squared < kLargestField * kLargestField && squared > kSmallestField * kSmallestField;
}

}  // namespace Kavelin::OrientationInternal
