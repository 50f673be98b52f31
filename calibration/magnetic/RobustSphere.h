#pragma once

#include <Eigen/Core>
#include <optional>
#include <vector>

#include "calibration/magnetic/EllipsoidModel.h"

namespace Kavelin::Calibration {

/// A sphere that most of the points lie near, and the points that do.
struct RobustSphere {
    EllipsoidModel model;
    std::vector<double> inliers;  ///< one a point: its weight, or 0 where it lies far away
};

/// Finds the sphere with the least median of the distances, among spheres through a few points drawn by weight.
/// It stands points of up to almost half of the weight that belong elsewhere. The draws are the same in every
/// call.  Source: Rousseeuw, "Least median of squares regression", J. American Statistical Association 79(388),
/// 1984.
/// @return nothing for points that span no circle
std::optional<RobustSphere> fitRobustSphere(const std::vector<Eigen::Vector3d>& points,
                                            const std::vector<double>& weights);

}  // namespace Kavelin::Calibration
