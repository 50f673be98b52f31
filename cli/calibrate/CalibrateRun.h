#pragma once

#include "cli/CommandContext.h"
#include "cli/calibrate/CalibrationKind.h"

namespace Kavelin::Cli {

/// Calibrates a unit by a recording: prints the report, draws, and keeps the result in a file, whose other parts stay.
/// A result that is poor leaves status kDoneWithErrors.
/// @throws UsageError where the recording does not show what is asked for, and where the file to be written is something
/// else than a calibration; nothing is written then
void calibrate(const CalibrationKind& kind, const CalibrateOptions& options, CommandContext& context);

}  // namespace Kavelin::Cli
