#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <vector>

namespace Kavelin::Calibration {

/// The samples of one sensor, in its own frame and at its own times.
struct SensorTrack {
    std::vector<double> times;            ///< s, rising
    std::vector<Eigen::Vector3d> values;  ///< as many, all usable (see attitude/detection/SampleLimits.h)
    std::size_t leftOut = 0;              ///< samples that were not finite, or that no sensor can give

    bool isEmpty() const { return values.empty(); }
    std::size_t size() const { return values.size(); }
    /// s, from the first sample to the last; 0 without samples.
    double duration() const { return isEmpty() ? 0.0 : times.back() - times.front(); }
};

/// What a calibration is made from. A sensor that the recording does not have is empty.
struct SensorRecording {
    SensorTrack acceleration;  ///< m/s^2, specific force: gravity points up at rest
    SensorTrack rate;          ///< rad/s
    SensorTrack field;         ///< in one unit throughout, that of `fieldUnit`
};

}  // namespace Kavelin::Calibration
