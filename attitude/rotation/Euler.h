#pragma once

#include <cmath>

#include "attitude/rotation/AngleConstants.h"
#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Intrinsic turns about z (yaw), the new y (pitch) and the new x (roll), rad, that make up a rotation.
/// Yaw and roll in [-pi, pi], pitch in [-pi/2, pi/2]; at pitch +-pi/2 yaw and roll are one: the roll is 0
/// there.  @param q unit norm, assumed and not enforced.
/// Source: Shoemake, Graphics Gems IV, 1994.
inline Vector3 eulerZyx(const Quaternion& q) {
    const double w = q[0], x = q[1], y = q[2], z = q[3];
    const double sine = 2.0 * (w * y - z * x);
    if (std::abs(sine) > 1.0 - 1e-12) {
        return {std::remainder(-std::copysign(2.0, sine) * std::atan2(x, w), kTwoPi),
                std::copysign(kHalfPi, sine), 0.0};
    }
    return {std::atan2(2.0 * (w * z + x * y), 1.0 - 2.0 * (y * y + z * z)), std::asin(sine),
            std::atan2(2.0 * (w * x + y * z), 1.0 - 2.0 * (x * x + y * y))};
}

}  // namespace Kavelin::OrientationInternal
