#pragma once

#include <vector>

#include "calibration/magnetic/FieldFit.h"
#include "calibration/magnetic/FieldSamples.h"
#include "calibration/magnetic/GravityAlignment.h"
#include "calibration/model/Calibration.h"

namespace Kavelin::Calibration {

/// What was done about the frame of the magnetometer.
struct AlignmentSeen {
    std::optional<GravityAlignment> found;  ///< nothing without an accelerometer at rest or in slow motion
    bool isApplied = false;
};

/// Grades a calibration, and says what is missing and how to move the unit to show it.
/// @param calibration all but its opinion
Opinion opinionOf(const MagneticCalibration& calibration, const FieldFit& fit, const AlignmentSeen& alignment,
                  const std::vector<FieldSample>& samples);

}  // namespace Kavelin::Calibration
