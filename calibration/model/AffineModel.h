#pragma once

#include <Eigen/Core>

namespace Kavelin::Calibration {

/// What turns a sensor's raw sample into the calibrated one: matrix * (raw - offset).
struct AffineModel {
    Eigen::Vector3d offset = Eigen::Vector3d::Zero();      ///< in the sensor's unit
    Eigen::Matrix3d matrix = Eigen::Matrix3d::Identity();  ///< without unit

    Eigen::Vector3d apply(const Eigen::Vector3d& raw) const { return matrix * (raw - offset); }

    template <class Archive>
    void serialize(Archive& archive) {
        archive(offset, matrix);
    }
};

}  // namespace Kavelin::Calibration
