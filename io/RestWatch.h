#pragma once

#include <Eigen/Core>

#include "attitude/RestDetector.h"

namespace Kavelin::RecordingIO {

/// Looks for a rest of 3 s within the first 10 s of a recording: without one, no estimator can tell the
/// gyroscope's bias from motion.
class RestWatch {
public:
    static constexpr double kWithin = 10.0;  ///< s from the first sample
    static constexpr double kLength = 3.0;   ///< s

    /// @param acceleration m/s^2  @param rate rad/s  @param time s, not decreasing
    void add(double time, const Eigen::Vector3d& acceleration, const Eigen::Vector3d& rate);

    bool hasRested() const { return longest_ >= kLength; }
    /// s; the longest rest found.
    double longest() const { return longest_; }
    /// True until the time to look at is over.
    bool isWatching() const { return watching_; }

private:
    OrientationInternal::RestDetector detector_;
    bool watching_ = true;
    bool hasStart_ = false;
    double start_ = 0.0;
    double last_ = 0.0;
    double longest_ = 0.0;
};

}  // namespace Kavelin::RecordingIO
