#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <cstddef>
#include <limits>
#include <optional>
#include <vector>

#include "calibration/model/SensorRecording.h"

namespace Kavelin::Calibration {

/// One sample of the field, with what the other sensors say at its time.
struct FieldSample {
    double t = 0.0;                                   ///< s
    Eigen::Vector3d field = Eigen::Vector3d::Zero();  ///< raw
    /// Mean specific force around it, m/s^2, where that is hardly more than gravity: it points up.
    std::optional<Eigen::Vector3d> up;
    /// Turn since the start of its stretch, by the gyroscope alone: takes the sensor frame to that of then.
    Eigen::Quaterniond attitude = Eigen::Quaterniond::Identity();
    double turned = 0.0;               ///< rad, angles of all turns until then, forth and back
    std::size_t stretch = kNoStretch;  ///< number of the stretch of rates without a gap

    static constexpr std::size_t kNoStretch = std::numeric_limits<std::size_t>::max();
};

/// Thins a recording's field evenly to at most `most` samples, and joins the other sensors to them.
/// Nothing is averaged: the mean of a turning field is too short.
std::vector<FieldSample> fieldSamples(const SensorRecording& recording, std::size_t most);

/// How far the unit turned, as gyroscope and accelerometer tell.
struct MotionSeen {
    bool isKnown = false;    ///< there is a gyroscope or an accelerometer
    bool hasTurned = false;  ///< more than a bias and a hand at rest can look like
};
MotionSeen motionSeen(const SensorRecording& recording);

}  // namespace Kavelin::Calibration
