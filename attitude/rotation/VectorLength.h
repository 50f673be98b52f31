#pragma once

#include <cmath>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Computes the dot product summed from x to z.  The order is part of the results: an arc cosine that is not
/// clamped turns the last digit of a cosine near 1 into a number or not a number.  Never throws.
inline double dotInOrder(const Vector3& a, const Vector3& b) {
    return a.x() * b.x() + a.y() * b.y() + a.z() * b.z();
}

/// Computes the Euclidean norm with the squares summed from x to z.  Never throws.
inline double lengthOf(const Vector3& v) { return std::sqrt(dotInOrder(v, v)); }

}  // namespace Kavelin::OrientationInternal
