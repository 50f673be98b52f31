#pragma once

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Ideal directions of gravity and field as an accelerometer and a magnetometer would show
/// them; unit vectors.
struct SynthesizedDirections {
    Vector3 acc;
    Vector3 mag;
};

/// Synthesises the directions seen at the attitude Rz(yaw) Ry(pitch) Rx(roll), which takes sensor coordinates
/// to an earth frame of x north, z up; the field lies 30 degrees away from up, towards north.
/// @param yawPitchRoll degrees; each is wrapped to [-180, 180) first. NaN gives NaN.
/// Never throws, any thread.
SynthesizedDirections synthesizeDirections(const Vector3& yawPitchRoll);

}  // namespace Kavelin::OrientationInternal
