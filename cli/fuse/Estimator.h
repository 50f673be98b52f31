#pragma once

#include <Kavelin/Core/Filter.h>

#include <optional>
#include <string>
#include <vector>

#include "evaluation/AttitudeErrors.h"

namespace Kavelin::Cli {

/// How a filter type is fed with a recording and what its attitude means: found from its pins, and from a
/// table of the types known here.
struct Estimator {
    /// A pin of the recording and the input pin that it feeds.
    struct Feed {
        std::string from;
        std::string to;
    };

    std::string attitudePin;
    bool isMatrix = false;  ///< 3x3, otherwise a quaternion
    std::vector<Feed> feeds;
    std::vector<std::string> flagPins;  ///< outputs "flag_...", 1x1
    bool hasBiasPin = false;            ///< output "3g_bias"
    /// Inputs are paired one to one: a row without one of them would shift all that follow.
    bool pairsInputs = false;
    bool wantsColumns = false;  ///< 3x1 vectors
    bool stampsWithWallClock = false;
    /// What is taken out before a comparison with a reference; empty: its attitude cannot be compared with
    /// one.
    std::optional<RecordingIO::Alignment> alignment;

    bool uses(const std::string& recordingPin) const;
};

/// @throws UsageError, naming the types that would do, when the filter has no attitude or no sensor pin.
Estimator describeEstimator(Core::Filter& filter);

}  // namespace Kavelin::Cli
