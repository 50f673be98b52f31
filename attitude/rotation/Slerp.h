#pragma once

#include <algorithm>
#include <cmath>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// The rotation at `share` of the way from `a` to `b` along the shorter arc. Unit norm is assumed.
/// Never throws. [any thread]  Source: Shoemake, SIGGRAPH 1985.
inline Quaternion slerp(const Quaternion& a, const Quaternion& b, double share) {
    const double cosine = a.dot(b);
    const Quaternion nearer = cosine < 0.0 ? Quaternion(-b) : b;
    const double angle = std::acos(std::min(1.0, std::abs(cosine)));
    // Below that the arc is its chord to double precision.
    if (angle < 1e-6) return (a + share * (nearer - a)).normalized();
    return (std::sin((1.0 - share) * angle) * a + std::sin(share * angle) * nearer) / std::sin(angle);
}

}  // namespace Kavelin::OrientationInternal
