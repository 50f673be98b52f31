#pragma once

#include <Eigen/Core>
#include <cstddef>

namespace Kavelin::Calibration {

/// A unit that lies still: means over one interval, sensor frame.
struct Rest {
    double from = 0.0, to = 0.0;  ///< s, without what was trimmed
    double duration = 0.0;        ///< s; less than to - from where a knock was left out
    Eigen::Vector3d acceleration = Eigen::Vector3d::Zero();  ///< m/s^2
    Eigen::Vector3d rate = Eigen::Vector3d::Zero();          ///< rad/s
    double accelerationNoise = 0.0;  ///< m/s^2, standard deviation of an axis' sample; 0 without samples
    std::size_t accelerationSamples = 0;
    std::size_t rateSamples = 0;
};

}  // namespace Kavelin::Calibration
