#pragma once

#include <Eigen/Geometry>
#include <vector>

#include "bench/support/Recording.h"
#include "evaluation/AttitudeErrors.h"

namespace Kavelin::Bench {

using RecordingIO::Alignment;
using RecordingIO::ErrorFigures;

/// One output of an estimator: sensor to its own reference frame, unit norm.
struct Estimate {
    double t;
    Eigen::Quaterniond attitude;
};

/// An estimate and what it should be, at the time of a reference.
struct Pair {
    double t;
    Eigen::Quaterniond estimate;
    Eigen::Quaterniond truth;
};

/// Pairs each reference of the recording with the estimates (time stamps rising), interpolated on the sphere
/// to its time; references outside the estimates are left out.
std::vector<Pair> pairUp(const Recording& recording, const std::vector<Estimate>& estimates);

/// Root mean square errors over the recording's movement.
ErrorFigures errorsOf(const Recording& recording, const std::vector<Pair>& pairs, Alignment alignment);

/// s; when the total error was last above 3 degrees: 0 when it never was, the last pair's time when it still
/// is. Alignment::kHeading is not taken out.
double lastTimeAstray(const std::vector<Pair>& pairs, Alignment alignment);

/// The alignment to compare by: where the recording's heading is arbitrary,
/// Alignment::kHeading in place of none.
Alignment appliedAlignment(const Recording& recording, Alignment alignment);

}  // namespace Kavelin::Bench
