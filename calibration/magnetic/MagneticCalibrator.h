#pragma once

#include "calibration/magnetic/MagneticSettings.h"
#include "calibration/model/Calibration.h"
#include "calibration/model/SensorRecording.h"

namespace Kavelin::Calibration {

/// Finds hard and soft iron from a recording in which the unit was turned through many directions.
///
/// An ellipsoid is fitted to the field with all directions weighted evenly, and refined by robust least squares
/// of the norm; samples that contradict the gyroscope do not count. The symmetric soft iron is then turned into
/// the accelerometer's frame, where the angle between field and gravity shows that turn. The true strength is
/// not known: the matrix has determinant 1, and `strength` is the radius of the field as it was seen.
/// All sensors in their own units; `origin` is left empty.
/// @throws Unsuitable for a recording without a usable field, without motion, or with less than one full turn
MagneticCalibration calibrateField(const SensorRecording& recording, const MagneticSettings& settings);

}  // namespace Kavelin::Calibration
