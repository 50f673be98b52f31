#pragma once

#include <optional>
#include <string>

namespace Kavelin::Cli {

/// How the run of one recording of a batch ended.
enum class RunEnd {
    kDone,
    kErrors,    ///< there is a result, and errors in the data or the run
    kUnusable,  ///< the recording could not be used: no result
    kCrashed,   ///< the run ended without saying how: no result
    kNotRun     ///< the batch was interrupted before or during it
};

/// What the table shows of a run, as far as it is known.
struct RunFigures {
    std::optional<double> rows;
    std::optional<double> rate;  ///< Hz, of the gyroscope, else of the accelerometer
    std::optional<double> gaps;
    std::optional<double> rest;       ///< share of the time
    std::optional<double> bias;       ///< degrees/s, norm
    std::optional<double> disturbed;  ///< share of the time, by the field
    std::optional<double> error;      ///< degrees, total, root mean square against the reference
    std::string tilt, heading;        ///< grades; empty: not judged
};

/// One recording of a batch after its run.
struct BatchEntry {
    std::string recording;
    std::string sensor;  ///< of several in the recording; empty: it holds one
    std::string result;  ///< path; empty: none
    RunEnd end = RunEnd::kNotRun;
    bool isKept = false;  ///< the result of an earlier run, which still holds
    std::string reason;   ///< first line of what went wrong
    RunFigures figures;
};

}  // namespace Kavelin::Cli
