#pragma once

#include <vector>

#include "calibration/model/SensorRecording.h"

namespace Kavelin::Calibration {

struct Interval {
    double from = 0.0, to = 0.0;  ///< s
};

/// When a sensor's values count as those of a unit at rest.
struct StillnessLimits {
    double window = 0.5;         ///< s
    double noiseFactor = 4.0;    ///< spread that is still, in multiples of the least spread of the recording
    double least = 0.02;         ///< in the sensor's unit: a spread below that is always still (resolution)
    double greatest = 0.3;       ///< in the sensor's unit: a spread above that is never still
    bool isAlike = false;        ///< whether the values are the same in all rests, up to a drift
    double leastDrift = 0.0;     ///< in the sensor's unit: such a distance from the median of all is alike
    double greatestDrift = 0.0;  ///< in the sensor's unit: a greater distance from the median of all is not
};

/// Times at which the values of a sensor stand still: the spread within a window (standard deviation, the mean
/// of the axes) is near the least of the recording, which is taken to be the sensor's noise. Windows
/// lie around each sample, so a rest is shorter than in truth by half a window at each end. It ends at a gap.
/// Where the values are the same in all rests, as rates are, means that are not those of most are slow turns.
///
/// The variance of windows with a threshold from the data: Tedaldi, Pretto, Menegatti, "A robust and easy to
/// implement method for IMU calibration without external equipments", IEEE ICRA, 2014, section III.B.
/// Differs: the noise is the least of the whole recording, which need not begin with a rest. Never throws.
std::vector<Interval> findStillTimes(const SensorTrack& track, const StillnessLimits& limits);

/// The times that are in both lists.
std::vector<Interval> common(const std::vector<Interval>& one, const std::vector<Interval>& other);

/// s, the median distance of neighbouring samples; 0 for fewer than two.
double medianStep(const std::vector<double>& times);
/// s; a longer distance between neighbouring samples is a gap.
double longestStep(const std::vector<double>& times);

}  // namespace Kavelin::Calibration
