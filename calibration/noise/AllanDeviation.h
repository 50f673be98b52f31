#pragma once

#include <Eigen/Core>
#include <vector>

namespace Kavelin::Calibration {

/// Samples at one rate.
struct RegularSamples {
    double step = 0.0;                    ///< s
    std::vector<Eigen::Vector3d> values;  ///< any unit
};

/// One averaging time of an Allan deviation.
struct AllanPoint {
    double time = 0.0;  ///< s
    Eigen::Vector3d deviation = Eigen::Vector3d::Zero();
    double freedom = 0.0;  ///< degrees of freedom of the squared deviation, where the noise is white
};

/// Overlapping Allan deviation of each axis, at averaging times of equal ratios from one step to a ninth of the
/// length.
///
/// IEEE Std 952, annex C; Riley and Howe, "Handbook of Frequency Stability Analysis", NIST SP 1065, 2008, eq. 11
/// and, for the degrees of freedom of white noise, section 5.4.1. Cumulative sums: each time costs one pass.
/// Never throws; fewer than nine samples give nothing.
std::vector<AllanPoint> allanDeviation(const RegularSamples& samples);

}  // namespace Kavelin::Calibration
