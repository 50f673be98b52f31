#pragma once

#include <string>

#include "calibration/noise/NoiseFit.h"
#include "cli/calibrate/CalibrationKind.h"

namespace Kavelin::Cli {

/// What was found, in lines for a person, and as properties of the estimators that take a sensor's noise.
std::string noiseReport(const Calibration::NoiseStudy& study);

/// Gnuplot's commands for the deviations, seen and fitted: a panel for each sensor.
CalibrationResult::Drawing noisePlot(const Calibration::NoiseStudy& study);

/// `kavelin calibrate noise`
CalibrationKind noiseKind();

}  // namespace Kavelin::Cli
