#pragma once

#include <Eigen/Core>
#include <vector>

#include "calibration/noise/AllanDeviation.h"

namespace Kavelin::Calibration {

/// The noise of one axis as a sum of independent processes.
struct NoiseModel {
    double quantisation = 0.0;  ///< Q, unit * s
    double white = 0.0;         ///< N, unit / sqrt(Hz)
    double flicker = 0.0;       ///< B, unit
    double walk = 0.0;          ///< K, unit / s / sqrt(Hz)

    /// Parts of the Allan variance at an averaging time (s), in the order of the members.
    /// Source: IEEE Std 952, annex C.
    Eigen::Vector4d parts(double time) const;
    double deviation(double time) const;
};

/// Fits the model to one axis of an Allan deviation: least squares of the relative error of the variance, in
/// which no part is below zero, weighted by the degrees of freedom. Parts without which it fits as well are zero, white noise apart. Shorter times than five
/// samples are left out, and all at which the deviation still rises: sensors filter their output. Never
/// throws; without points that differ from zero, nothing is found.
NoiseModel fitNoise(const std::vector<AllanPoint>& points, Eigen::Index axis);

/// What the fitted deviation shows of one axis; NaN where it does not reach far enough.
struct AxisNoise {
    double white, instability, instabilityTime, walk;
};

/// Reads the figures off a fitted deviation. White noise and random walk count where they make at least half of
/// the variance at some time; the instability is the least deviation / 0.664, unless the deviation
/// still falls as that of white noise at the longest time. The longest time must be 5 s for these two.
AxisNoise readNoise(const NoiseModel& model, const std::vector<AllanPoint>& points);

}  // namespace Kavelin::Calibration
