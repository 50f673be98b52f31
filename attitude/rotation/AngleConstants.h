#pragma once

#include <numbers>

namespace Kavelin::OrientationInternal {

// The project's one set of angle constants, all derived from one pi. Angles are in radians, except at
// interfaces that say degrees. Pi has the bits of 4 * atan(1.0) and is initialised at compile time.
inline constexpr double kPi = std::numbers::pi;
inline constexpr double kTwoPi = kPi + kPi;
inline constexpr double kHalfPi = kPi * 0.5;
inline constexpr double kDegreesToRadians = kPi / 180.0;
inline constexpr double kRadiansToDegrees = 180.0 / kPi;

}  // namespace Kavelin::OrientationInternal
