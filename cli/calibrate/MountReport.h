#pragma once

#include <string>

#include "calibration/model/Calibration.h"
#include "cli/calibrate/CalibrationKind.h"

namespace Kavelin::Cli {

/// The lines for a person: what was used, the axes of the segment, and the rotation in the forms that filters take.
std::string mountReport(const Calibration::MountCalibration& mount);

/// `kavelin calibrate mount`, with --pose and --turn
CalibrationKind mountKind();

}  // namespace Kavelin::Cli
