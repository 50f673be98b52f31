#pragma once

#include <optional>

#include "calibration/model/Calibration.h"
#include "calibration/model/SensorRecording.h"
#include "calibration/rest/StillTimes.h"

namespace Kavelin::Calibration {

/// Where in a recording to look.
struct MountSettings {
    std::optional<Interval> pose;  ///< without it, the first rest
    std::optional<Interval>
        turn;  ///< without it, what follows the pose up to the next rest behind a quarter turn
};

/// Finds how a unit sits on its segment: from a still pose, in which the segment's y points up, and a turn about one axis,
/// such as the bending of a joint, which is the segment's z.
///
/// z is the principal axis of the rates, with weights that suppress outliers (Cauchy); its uncertainty is that of the
/// jackknife over eight parts of the turn, since what is off the axis is motion, not noise. It points so that the turn
/// is positive on average, seen from the pose; where that does not decide, so that its greatest element in the sensor's
/// axes is positive. y is up in the pose, at right angles to z: as for a joint, orientation/joint/JointAlignment.h.
/// @throws Unsuitable without rates or acceleration; without a still pose or a turn; for a turn about several axes, and
/// for one about an axis that is within 20 degrees of the vertical in the pose: the two do not fix the segment's axes
MountCalibration calibrateMount(const SensorRecording& recording, const MountSettings& settings);

}  // namespace Kavelin::Calibration
