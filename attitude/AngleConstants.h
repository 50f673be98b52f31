#pragma once

#include <cmath>

namespace Kavelin::OrientationInternal {

// The project's one set of angle constants, all derived from one pi. Angles are radians everywhere but at the
// doors that say degrees.
inline const double kPi = 4.0 * std::atan(1.0);
inline const double kTwoPi = kPi + kPi;
inline const double kHalfPi = kPi * 0.5;
inline const double kDegreesToRadians = kPi / 180.0;
inline const double kRadiansToDegrees = 180.0 / kPi;

}  // namespace Kavelin::OrientationInternal
