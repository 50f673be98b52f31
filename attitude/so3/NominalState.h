#pragma once

#include <Eigen/Geometry>

#include "attitude/rotation/ExponentialMap.h"

namespace Kavelin::OrientationInternal::SO3 {

/// Where each error stands in the error vector and its covariance.
enum ErrorIndex : int {
    kTurn = 0,      ///< rotation vector in the earth frame: true R = exp([turn]) R
    kTurnUp = 2,    ///< its part about Up, the heading
    kBias = 3,      ///< of the gyroscope
    kVelocity = 6,  ///< earth frame
    kPosition = 9,
    kAccBias = 12,      ///< sensor frame
    kScale = 15,        ///< xx, yy, zz, xy, xz, yz of the symmetric scale and misalignment
    kDisturbance = 21,  ///< azimuth of the field's disturbance
    kErrors = 22
};
inline constexpr int kScaleTerms = 6;

using ErrorVector = Eigen::Matrix<double, kErrors, 1>;

/// The estimate that the errors are errors of. rad, rad/s, m/s, m, m/s^2.
struct NominalState {
    Eigen::Quaterniond attitude = Eigen::Quaterniond::Identity();  ///< sensor to earth
    Eigen::Vector3d bias = Eigen::Vector3d::Zero();
    Eigen::Vector3d velocity = Eigen::Vector3d::Zero();
    Eigen::Vector3d position = Eigen::Vector3d::Zero();
    Eigen::Vector3d accBias = Eigen::Vector3d::Zero();
    Eigen::Matrix3d scale = Eigen::Matrix3d::Zero();  ///< relative; symmetric
    double disturbance = 0.0;

    /// Takes errors that were found into the estimate.
    void inject(const ErrorVector& x) {
        const Eigen::Vector3d turn = x.segment<3>(kTurn);
        attitude = (quaternionFromRotationVector(turn) * attitude).normalized();
        bias += x.segment<3>(kBias);
        velocity += x.segment<3>(kVelocity);
        position += x.segment<3>(kPosition);
        accBias += x.segment<3>(kAccBias);
        const double* m = x.data() + kScale;
        scale(0, 0) += m[0];
        scale(1, 1) += m[1];
        scale(2, 2) += m[2];
        scale(0, 1) = scale(1, 0) += m[3];
        scale(0, 2) = scale(2, 0) += m[4];
        scale(1, 2) = scale(2, 1) += m[5];
        disturbance += x[kDisturbance];
    }

    template <class Archive>
    void serialize(Archive& archive) {
        archive(attitude, bias, velocity, position, accBias, scale, disturbance);
    }
};

}  // namespace Kavelin::OrientationInternal::SO3
