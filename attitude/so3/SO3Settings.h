#pragma once

namespace Kavelin::OrientationInternal::SO3 {

/// What a user may want to set; everything else is a named constant next to the rule that uses it.
struct Settings {
    double gyroscopeNoise = 0.00244;     ///< rad/s/sqrt(Hz); also covers what a scale error leaves
    double biasDrift = 3e-5;             ///< rad/s/sqrt(s), walk of the gyroscope's bias
    double accelerometerNoise = 0.0105;  ///< m/s^2/sqrt(Hz)
    double fieldNoise = 0.336;           ///< rad, of the field's azimuth in a window of 0.1 s
    double restRate = 0.035;             ///< rad/s, largest distance of a rate from its average at rest
    double restAcceleration = 0.4;       ///< m/s^2, the same of the acceleration
    double restTime = 1.0;               ///< s, how long both must hold
    double biasLimit = 0.15;             ///< rad/s, a steadier rate than this, on any axis, is a turn
    double accelerometerRange = 0.0;     ///< m/s^2, components at or beyond it are clipped; 0: no limit known
};

}  // namespace Kavelin::OrientationInternal::SO3
