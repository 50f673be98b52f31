#pragma once

#include <Eigen/Core>
#include <optional>
#include <vector>

#include "calibration/magnetic/EllipsoidModel.h"

namespace Kavelin::Calibration {

/// Fits a sphere by linear least squares of |m|^2 = 2 c.m + d.  A direction that the points do not span gets
/// the centre nearest to that of the points.  Source: Coope, "Circle fitting by linear and nonlinear least
/// squares", J. Optimization Theory and Applications 76(2), 1993.
/// @param weights as many as points, not negative  @return nothing for points that span no circle
std::optional<EllipsoidModel> fitSphere(const std::vector<Eigen::Vector3d>& points,
                                        const std::vector<double>& weights);

/// Fits a general ellipsoid by linear least squares of the quadric, constrained so that none but an ellipsoid
/// can come out as long as its longest axis is less than twice the shortest.  Biased by noise in short axes:
/// a start for what follows.  Source: Li & Griffiths, "Least squares ellipsoid specific fitting", Geometric
/// Modeling and Processing, 2004, with k = 4.
/// @return nothing where the points do not determine one
std::optional<EllipsoidModel> fitEllipsoid(const std::vector<Eigen::Vector3d>& points,
                                           const std::vector<double>& weights);

}  // namespace Kavelin::Calibration
