#pragma once

#include <optional>
#include <string_view>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::RecordingIO {

/// In addition to the frames of `Contents.h`: x north, y east, z down.
inline constexpr std::string_view kSensorToNorthEastDown = "sensor to earth (north, east, down)";

/// One rotation, as a matrix and as a quaternion.
struct EarthTurn {
    OrientationInternal::Matrix3 matrix;
    OrientationInternal::Quaternion quaternion;
};

/// The rotation R_to_from between the earths of two orientations' frames, as their pins declare them. Its
/// matrix is exact: elements are 0, 1 and -1.  @return empty unless both are relative to the earth.
std::optional<EarthTurn> earthTurn(std::string_view from, std::string_view to);

/// The frame of a label "enu" or "ned"; empty for another.
std::string_view earthFrameCalled(std::string_view label);

}  // namespace Kavelin::RecordingIO
