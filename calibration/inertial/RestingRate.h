#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <vector>

#include "calibration/rest/Rest.h"

namespace Kavelin::Calibration {

/// A gyroscope's bias, as rests show it.
struct RestingRate {
    Eigen::Vector3d bias = Eigen::Vector3d::Zero();  ///< rad/s, mean over all rests
    double drift = 0.0;  ///< rad/s, greatest change of an axis from one rest to another
    std::size_t samples = 0;

    static constexpr double kWarmUp = 0.005;  // rad/s
    bool isDrifting() const { return drift > kWarmUp; }
};

/// Without rates, no samples.
RestingRate restingRateOf(const std::vector<Rest>& rests);

}  // namespace Kavelin::Calibration
