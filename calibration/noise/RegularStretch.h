#pragma once

#include "calibration/model/SensorRecording.h"
#include "calibration/noise/AllanDeviation.h"
#include "calibration/rest/StillTimes.h"

namespace Kavelin::Calibration {

/// The longest part of a track within an interval that has no gap, at one rate. Up to three lost samples in a
/// row are filled in on a straight line.
struct RegularStretch {
    RegularSamples samples;
    double duration = 0.0;   ///< s
    double irregular = 0.0;  ///< share of steps that differ by more than a third from the median, gaps apart
};
RegularStretch longestRegularStretch(const SensorTrack& track, const Interval& within);

}  // namespace Kavelin::Calibration
