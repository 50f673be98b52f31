#pragma once

#include <Eigen/Core>
#include <string>
#include <vector>

#include "calibration/rest/StillTimes.h"

namespace Kavelin::Calibration {

// What is said of a noise calibration: what was seen, and what to do. Times in s.

std::string noSamples();
std::string nothingChanges();
std::string notStill(const std::vector<Interval>& still, const Interval& longest, const Interval& all);
std::string partUsed(const Interval& used, const Interval& all);
std::string tooManyGaps(const char* sensor, double longest);
std::string gaps(const char* sensor, double longest);
std::string irregularSteps(const char* sensor, double share);

/// Figures that are NaN on some axis. @param longest averaging time
std::string noWhiteNoise(const char* sensor, const Eigen::Vector3d& figures);
std::string notShown(const char* sensor, const Eigen::Vector3d& instability, const Eigen::Vector3d& walk,
                     double longest);

/// "40 s", "12 minutes", "3 hours"
std::string durationText(double seconds);

}  // namespace Kavelin::Calibration
