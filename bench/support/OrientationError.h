#pragma once

#include <Eigen/Geometry>
#include <vector>

#include "bench/support/Recording.h"

namespace Kavelin::Bench {

/// What an estimator's attitude is relative to, and so what is taken out before it is compared.
enum class Alignment {
    None,      ///< the earth frame: nothing
    Heading,   ///< right but for the heading: the one constant turn about the vertical that fits best
    StartPose  ///< the pose at the start: the one constant rotation taken at its first output with a
               ///< reference
};

/// Degrees, root mean square over the movement.
struct ErrorFigures {
    double total = 0.0;
    double heading = 0.0;
    double inclination = 0.0;
    std::size_t count = 0;  ///< reference rows compared
};

/// One output of an estimator: sensor to its own reference frame, unit norm.
struct Estimate {
    double t;
    Eigen::Quaterniond attitude;
};

/// Compares estimates (time stamps rising) with the recording's truth; the estimate is interpolated on the
/// sphere to the time of each reference, and rows outside the estimates or the movement are left out. With q
/// = estimate * conj(truth): total 2 acos|w|, heading 2 atan|z / w|, inclination 2 acos sqrt(w^2 + z^2).
ErrorFigures compareWithTruth(const Recording& recording, const std::vector<Estimate>& estimates,
                              Alignment alignment);

}  // namespace Kavelin::Bench
