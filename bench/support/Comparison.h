#pragma once

#include <Eigen/Geometry>
#include <vector>

#include "bench/support/Recording.h"
#include "io/AttitudeErrors.h"

namespace Kavelin::Bench {

using RecordingIO::Alignment;
using RecordingIO::ErrorFigures;

/// One output of an estimator: sensor to its own reference frame, unit norm.
struct Estimate {
    double t;
    Eigen::Quaterniond attitude;
};

/// Compares estimates (time stamps rising) with the recording's truth, over its movement. The estimate is
/// interpolated on the sphere to the time of each reference; references outside the estimates are left out.
/// Where the recording's heading is arbitrary, an estimator without alignment is compared by
/// Alignment::kHeading.
ErrorFigures compareWithTruth(const Recording& recording, const std::vector<Estimate>& estimates,
                              Alignment alignment);

/// The alignment that `compareWithTruth` applies.
Alignment appliedAlignment(const Recording& recording, Alignment alignment);

}  // namespace Kavelin::Bench
