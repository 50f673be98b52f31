#pragma once

#include <Eigen/Core>

namespace Kavelin::OrientationInternal::SO3 {

/// What the samples of one covariance step add up to; times dt each.
struct StepSums {
    double duration = 0.0;                              // s
    Eigen::Matrix3d turned = Eigen::Matrix3d::Zero();   ///< attitudes (sensor to earth)
    Eigen::Vector3d force = Eigen::Vector3d::Zero();    ///< specific force, earth frame
    Eigen::Vector3d rate = Eigen::Vector3d::Zero();     ///< as measured
    Eigen::Vector3d turning = Eigen::Vector3d::Zero();  ///< rate without bias
    double squaredTurning = 0.0;                        ///< rad^2/s
    double squaredAcceleration = 0.0;                   ///< m^2/s^3, of the linear acceleration

    template <class Archive>
    void serialize(Archive& archive) {
        archive(duration, turned, force, rate, turning, squaredTurning, squaredAcceleration);
    }
};

/// What the samples of one field window add up to.
struct FieldWindow {
    double duration = 0.0;                                // s
    double squaredTurning = 0.0;                          ///< rad^2/s
    Eigen::Vector3d field = Eigen::Vector3d::Zero();      ///< sum, earth frame
    Eigen::Matrix3d attitudes = Eigen::Matrix3d::Zero();  ///< sum over the samples with a field
    int fields = 0;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(duration, squaredTurning, field, attitudes, fields);
    }
};

}  // namespace Kavelin::OrientationInternal::SO3
