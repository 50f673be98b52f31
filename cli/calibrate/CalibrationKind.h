#pragma once

#include <string>
#include <vector>

#include "calibration/model/Calibration.h"
#include "cli/RecordingChoice.h"
#include "cli/calibrate/CalibrationInput.h"

namespace Kavelin::Cli {

/// What the user wrote.
struct CalibrateOptions : RecordingChoice {
    std::string recording;
    std::string output;        ///< file, JSON; empty: none
    std::string plot;          ///< file, .svg or .png; empty: none
    std::string calibration;   ///< file: what is known of the unit already; empty: nothing
    double gravity = 9.80665;  ///< m/s^2, of the place
    std::string pose;          ///< "1..3"; empty: found
    std::string turn;          ///< "5..12"; empty: found
};

/// What a calibration gave.
struct CalibrationResult {
    Calibration::Calibration found;  ///< with the one part that was made; its origin is filled in later
    std::string report;              ///< lines for a person
    struct Drawing {
        int height = 0;  ///< pixels; 0: this kind draws nothing
        std::string script;
    } drawing;
};

/// Something that can be calibrated: adding one takes a row of the table and a report.
struct CalibrationKind {
    const char* name;
    const char* title;
    bool canDraw;
    void (*addOptions)(CLI::App& command, CalibrateOptions& options);
    /// @throws Calibration::Unsuitable
    CalibrationResult (*make)(const CalibrationInput& input, const CalibrateOptions& options);
};

/// All of them, in the order of the help.
const std::vector<CalibrationKind>& calibrationKinds();

}  // namespace Kavelin::Cli
