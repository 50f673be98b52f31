#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <vector>

#include "calibration/inertial/RestingRate.h"
#include "calibration/model/SensorRecording.h"
#include "calibration/rest/Rest.h"

namespace Kavelin::Calibration {

/// A turn from one rest to the next: what gravity was before and after, and the rates between.
struct Turn {
    double from = 0.0, to = 0.0;                           ///< s
    Eigen::Vector3d up_before = Eigen::Vector3d::UnitZ();  ///< calibrated, unit norm, sensor frame
    Eigen::Vector3d up_after = Eigen::Vector3d::UnitZ();
    Eigen::Vector3d bias = Eigen::Vector3d::Zero();  ///< rad/s, of the rates
    std::vector<Eigen::Vector3d> rates;              ///< rad/s, raw, each for its step
    std::vector<double> steps;                       ///< s
};

/// The turns of a recording, and how many could not be used.
struct Turns {
    std::vector<Turn> usable;
    std::size_t withGaps = 0;
    std::size_t tooLong = 0;  ///< the bias would outweigh the turn
    std::size_t unseen =
        0;  ///< the rates do not show it: clips put together, or a gyroscope that stood still
};

/// The bias of each turn is that of all rests or, where it drifts, that of the rests before and after.
/// @param rests in the order of time  @param up gravity's direction at each of them, calibrated, unit norm
Turns findTurns(const SensorTrack& rate, const std::vector<Rest>& rests,
                const std::vector<Eigen::Vector3d>& up, const RestingRate& resting);

}  // namespace Kavelin::Calibration
