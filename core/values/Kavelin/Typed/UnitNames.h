#pragma once

#include <string_view>

namespace Kavelin::Core {

// Names of units and quantities: the same in pins, properties and the headers of recordings.
inline constexpr std::string_view kSeconds = "s";
inline constexpr std::string_view kMetresPerSecondSquared = "m/s^2";
inline constexpr std::string_view kRadiansPerSecond = "rad/s";
inline constexpr std::string_view kMicrotesla = "uT";
inline constexpr std::string_view kRadians = "rad";
inline constexpr std::string_view kDegrees = "deg";

inline constexpr std::string_view kAccelerationName = "acceleration";
inline constexpr std::string_view kRateName = "angular rate";
inline constexpr std::string_view kFieldName = "magnetic field";
inline constexpr std::string_view kAngleName = "angle";
inline constexpr std::string_view kOrientation = "orientation";

}  // namespace Kavelin::Core
