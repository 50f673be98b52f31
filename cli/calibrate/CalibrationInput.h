#pragma once

#include <optional>
#include <string>
#include <vector>

#include "calibration/model/Calibration.h"
#include "calibration/model/SensorRecording.h"
#include "cli/RecordingChoice.h"

namespace Kavelin::Cli {

struct CommandContext;

/// A recording as the calibrations take it, whole in memory.
struct CalibrationInput {
    Calibration::SensorRecording sensors;
    std::string fieldUnit;  ///< "uT"; empty: the recording does not say
    std::string recorded;   ///< ISO 8601, of the first row; empty: its times do not tell
    std::uint64_t rows = 0;
};

/// Reads a recording. Warnings, and rows that cannot be used, are reported on `context.err`; the latter leave status
/// kDoneWithErrors.
/// @throws UsageError where what it holds cannot be right, such as rates in other units than the header says;
/// what RecordingIO::openRecording raises
CalibrationInput readCalibrationInput(const std::string& path, const RecordingChoice& choice,
                                      CommandContext& context);

}  // namespace Kavelin::Cli
