#pragma once

#include <string>

#include "calibration/model/Calibration.h"
#include "cli/calibrate/CalibrationKind.h"

namespace Kavelin::Cli {

/// What was found of a magnetometer, lines for a person: norm, offset, axes, directions, opinion.
std::string magneticReport(const Calibration::MagneticCalibration& found);

/// Gnuplot's commands for two panels: the directions in which the calibrated field was seen, on a map where equal
/// areas are equal patches of the sphere, and the norm before and after over time. At most some two thousand samples
/// are drawn.
CalibrationResult::Drawing magneticPlot(const Calibration::SensorTrack& field,
                                        const Calibration::MagneticCalibration& found);

/// `kavelin calibrate mag`
CalibrationKind magneticKind();

}  // namespace Kavelin::Cli
