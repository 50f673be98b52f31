#pragma once

#include <Eigen/Core>

namespace Kavelin::Calibration {

/// The ellipsoid on which the raw field lies: what takes it to the unit sphere, shape * (raw - centre).
struct EllipsoidModel {
    Eigen::Vector3d centre = Eigen::Vector3d::Zero();     ///< the field's unit
    Eigen::Matrix3d shape = Eigen::Matrix3d::Identity();  ///< symmetric; one over the field's unit

    Eigen::Vector3d toSphere(const Eigen::Vector3d& raw) const { return shape * (raw - centre); }
    /// The field's unit: geometric mean of the semi-axes.
    double radius() const;
    /// Longest by shortest semi-axis; infinity for a shape that is not positive definite.
    double elongation() const;
};

}  // namespace Kavelin::Calibration
