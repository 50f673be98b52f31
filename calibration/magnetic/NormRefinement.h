#pragma once

#include <Eigen/Core>
#include <optional>
#include <vector>

#include "calibration/magnetic/EllipsoidModel.h"

namespace Kavelin::Calibration {

/// What is believed before the data: no soft iron, some hard iron. It decides only what the data leave open.
struct EllipsoidPrior {
    double softIronDeviation = 0.3;
    double hardIronDeviation = 10.0;  ///< extents of the points
    /// Unit norm: all points lie in the plane through 0 across it, and so must the centre.
    std::optional<Eigen::Vector3d> normal;
};

/// An ellipsoid that makes the norms even, and how well it is known.
struct NormFit {
    EllipsoidModel model;
    double scatter = 0.0;  ///< share of the norm: robust standard deviation of its residuals
    double cost = 0.0;     ///< of the last iteration, for comparing starts of the same data
    /// Covariance of the centre, in units of the radius squared.
    Eigen::Matrix3d centreCovariance = Eigen::Matrix3d::Zero();

    /// Residual of a raw vector: its norm on the sphere less 1.
    double residual(const Eigen::Vector3d& raw) const { return model.toSphere(raw).norm() - 1.0; }
    /// Radii; standard deviation of the centre in the direction known least.
    double centreDeviation() const;
};

/// Refines an ellipsoid: least squares of the norm with Levenberg-Marquardt steps, reweighted by
/// Tukey's loss, whose scale is the median of the residuals.
///
/// The residual is the distance along the radius, in the field's noise: unlike that of the quadric it is not
/// biased by noise (Markovsky, Kukush & Van Huffel, "Consistent least squares fitting of ellipsoids",
/// Numerische Mathematik 98(1), 2004).  A disturbance shifts neither centre nor axes once it is several
/// scatters large.  Never throws.
/// @param weights as many as points, their sum the number of independent samples that they are worth
/// @param isRough the start may be far off: Huber's loss, which pulls from afar, goes first
NormFit refineNorm(const std::vector<Eigen::Vector3d>& points, const std::vector<double>& weights,
                   const EllipsoidModel& start, bool isRough, const EllipsoidPrior& prior);

}  // namespace Kavelin::Calibration
