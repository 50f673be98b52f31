#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <optional>
#include <vector>

#include "calibration/model/AffineModel.h"

namespace Kavelin::Calibration {

/// Means of the acceleration in still poses.
struct StillPoses {
    std::vector<Eigen::Vector3d> accelerations;  ///< m/s^2, sensor frame, raw
    double noise = 0.0;                          ///< m/s^2, standard deviation of such a mean
    double gravity = 9.80665;                    ///< m/s^2, of the place
};

/// An accelerometer's errors as still poses show them, and how far to trust them.
struct AccelerometerFit {
    enum class Terms { kScale, kScaleAndCross };

    AffineModel model;
    Terms terms = Terms::kScale;
    double residualBefore = 0.0;  ///< m/s^2, RMS of norm - gravity over the poses that were not left out
    double residualAfter = 0.0;
    /// m/s^2, the same where each pose is predicted from the others; infinity where none can be.
    double residualPredicted = 0.0;
    double deviation = 0.0;  ///< m/s^2, standard deviation of a pose, from noise and residuals
    /// m/s^2, standard deviation of the calibrated norm in the direction that the poses show least.
    double uncertainty = 0.0;
    Eigen::Vector3d leastCertain = Eigen::Vector3d::UnitZ();  ///< that direction, sensor frame
    std::vector<std::size_t> leftOut;                         ///< poses that do not fit the others
    std::vector<std::size_t> unchecked;                       ///< poses that the others do not predict

    static std::size_t unknowns(Terms terms) { return terms == Terms::kScale ? 6 : 9; }
};

/// Finds offset, scale and, where asked for, non-orthogonality so that all poses have the norm of gravity.
///
/// Levenberg-Marquardt on |T K (a - b)| = g with an upper triangular matrix: Tedaldi, Pretto, Menegatti 2014,
/// eq. 10 (see StillTimes.h); without non-orthogonality the matrix is diagonal. Where six
/// poses or more are left over, those that do not fit lose their weight (Huber, then Tukey). Never throws.
/// @return nothing where the poses are fewer than the unknowns, or do not determine them at all
std::optional<AccelerometerFit> fitAccelerometer(const StillPoses& poses, AccelerometerFit::Terms terms);

/// How many of the directions differ from each other by `angle` (rad) or more.
std::size_t countDifferent(const std::vector<Eigen::Vector3d>& directions, double angle);

}  // namespace Kavelin::Calibration
