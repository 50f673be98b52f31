#pragma once

#include "calibration/model/Calibration.h"
#include "calibration/model/SensorRecording.h"
#include "calibration/rest/RestFinder.h"

namespace Kavelin::Calibration {

struct InertialSettings {
    double gravity = 9.80665;  ///< m/s^2, of the place
    RestSettings rests;
};

/// Poses that differ by `kPoseAngle` which the non-orthogonality needs, and those which offset and scale need.
inline constexpr std::size_t kPosesForCrossTerms = 9;
inline constexpr std::size_t kPosesForScale = 6;
inline constexpr double kPoseAngle = 0.26;  // rad, 15 degrees

/// Calibrates accelerometer and gyroscope from a recording in which the unit rests in several poses.
///
/// Of the gyroscope, a recording without turns gives the bias alone; a single rest gives nothing of the
/// accelerometer. Whether the poses suffice is judged by the covariance of the fit, not by their number
/// alone. The origin is left empty.
/// Raises Unsuitable where nothing is known: no rest, fewer or more similar poses than offset and scale need,
/// accelerations that cannot be gravity.
InertialCalibration calibrateInertial(const SensorRecording& recording,
                                      const InertialSettings& settings = {});

}  // namespace Kavelin::Calibration
