#include "converters/computers/DirectionSynthesis.h"

#include <cmath>

#include "attitude/rotation/AbsoluteAttitudeComputer.h"
#include "attitude/rotation/AngleConstants.h"

namespace Kavelin::OrientationInternal {

namespace {

/// Converts to radians in [-pi, pi). Deliberate: exactly half a turn becomes -pi.
double wrappedRadians(double degrees) {
    return AbsoluteAttitudeComputer::unwrapAngle(degrees * kPi / 180.0, 0.0);
}

}  // namespace

SynthesizedDirections synthesizeDirections(const Vector3& yawPitchRoll) {
    // Deliberate: the field's tilt is a constant, 30 degrees away from the vertical towards north.
    static const double kTilt = 30 * kPi / 180.0;
    static const double kCosTilt = std::cos(kTilt);
    static const double kSinTilt = std::sin(kTilt);

    const Vector3 angles(wrappedRadians(yawPitchRoll[0]), wrappedRadians(yawPitchRoll[1]),
                         wrappedRadians(yawPitchRoll[2]));
    Matrix3 rotation;
    AbsoluteAttitudeComputer::eulerToRotation(0, false, angles, rotation);
    const Vector3 north = rotation.row(0);
    const Vector3 up = rotation.row(2);
    return {up, kCosTilt * up + kSinTilt * north};
}

}  // namespace Kavelin::OrientationInternal
