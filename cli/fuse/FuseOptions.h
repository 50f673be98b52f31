#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cli/RecordingChoice.h"
#include "cli/layout/RoundGate.h"
#include "io/RecordingSource.h"

namespace Kavelin::Cli {

/// What a run takes from memory, and keeps there, in place of files. The options hold the names for messages.
struct FuseMemory {
    RecordingIO::RecordingOpener recording;                                   ///< empty: the file
    std::function<std::unique_ptr<RecordingIO::RowReader>()> reference = {};  ///< empty: the file
    bool keepsResult = false;                                                 ///< no file is written
    /// The reference is relative to East-North-Up, whatever the result is.
    bool isReferenceUp = false;
    bool isCalibrated = false;  ///< a calibration is given to the filter "calibration" later
    bool rowsOnly = false;      ///< what the rows of the result do not need is left out, but for the verdict
};

/// The form in which an attitude is written.
enum class AttitudeForm { kQuaternion, kMatrix, kEuler };

struct FuseOptions : RecordingChoice {
    std::string recording;
    std::string output = "-";
    std::string type;
    std::vector<std::string> settings;  ///< "NAME=VALUE", "quality:NAME=VALUE", "static:NAME=VALUE"
    AttitudeForm form = AttitudeForm::kQuaternion;
    bool isSto = false;  ///< an OpenSim table, whatever the name of the output
    std::string frame;  ///< "enu", "ned": the earth of what is written, and of the reference; empty: not said
    double outputRate = 0.0;  ///< Hz, of the rows written; 0: not said
    std::string plot;         ///< file, .svg or .png; empty: none
    std::string summary;      ///< file, JSON; empty: none
    bool scores = false;      ///< write the columns of the static score
    std::string saveLayout;   ///< file; empty: none

    std::string calibration;  ///< files of the units, see UnitFiles; empty: none
    std::string mount;        ///< the same, of how each sits on its segment

    std::string reference;  ///< file; empty: the recording's own, if it has one
    std::string movement;   ///< file; empty: errors count everywhere
    std::string alignment = "auto";

    double pace = kFullPace;  ///< of the recording
    FuseMemory memory;

    bool stopOnError = false;
    bool quiet = false;
    std::vector<std::string> plugins;
};

}  // namespace Kavelin::Cli
