#pragma once

#include <Eigen/Core>
#include <span>

namespace Kavelin::Calibration {

/// The axis about which rates turn a unit.
struct TurnAxis {
    Eigen::Vector3d axis = Eigen::Vector3d::UnitZ();  ///< unit norm, sensor frame; either way round
    double across = 1.0;                              ///< share of the rate that is not about it, RMS, 0 to 1
    double uncertainty = 0.0;                         ///< rad
};

/// The principal axis of rates without their bias, rad/s; see calibrateMount. Without a rate: the default.
TurnAxis findTurnAxis(std::span<const Eigen::Vector3d> rates);

}  // namespace Kavelin::Calibration
