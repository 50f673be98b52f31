#pragma once

#include <string>

#include "calibration/model/Calibration.h"
#include "cli/calibrate/CalibrationKind.h"

namespace Kavelin::Cli {

/// What was found, in lines for a person.
std::string inertialReport(const Calibration::InertialCalibration& found);

/// `kavelin calibrate imu`
CalibrationKind inertialKind();

}  // namespace Kavelin::Cli
