#pragma once

#include <vector>

#include "calibration/rest/Rest.h"
#include "calibration/rest/StillTimes.h"

namespace Kavelin::Calibration {

/// How rests are told from motion.
struct RestSettings {
    StillnessLimits acceleration{.window = 0.5, .noiseFactor = 4.0, .least = 0.02, .greatest = 0.3};
    StillnessLimits rate{.window = 0.5,
                         .noiseFactor = 4.0,
                         .least = 0.01,
                         .greatest = 0.05,
                         .isAlike = true,
                         .leastDrift = 0.005,
                         .greatestDrift = 0.03};
    double shortest = 0.8;      ///< s, after trimming
    double trimmed = 0.2;       ///< share of a rest that is left out at each end
    double longestKnock = 1.0;  ///< s; two rests of one pose that are not farther apart are one
};

/// The rests of a recording, in the order of time: both sensors stand still, or the one that there is.
///
/// Of a rest the first and last fifths are trimmed. Left out are short ones, and those in which the
/// acceleration drifts. Never throws.
std::vector<Rest> findRests(const SensorRecording& recording, const RestSettings& settings = {});

/// s; how long the unit was still, trimmed ends included.
double stillTime(const std::vector<Rest>& rests, const RestSettings& settings = {});

}  // namespace Kavelin::Calibration
