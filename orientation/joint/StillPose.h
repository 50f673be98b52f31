#pragma once

#include <Eigen/Core>
#include <cstddef>

#include "attitude/rotation/AngleConstants.h"
#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// One unit while it is held still.
struct StillPose {
    /// A person who stands or sits still stays below these.
    static constexpr double kGreatestSpread = 2.0 * kDegreesToRadians;
    static constexpr double kGreatestRateSpread = 0.1;

    Quaternion q_earth_sensor{1, 0, 0, 0};  ///< the mean; w is not negative
    Vector3 meanRate = Vector3::Zero();     ///< rad/s, sensor frame; the gyroscope's bias if it is still
    double spread = 0.0;                    ///< rad, RMS angle from the mean orientation
    double rateSpread = 0.0;                ///< rad/s, RMS distance from the mean rate
    std::size_t samples = 0;

    bool isStill() const { return spread <= kGreatestSpread && rateSpread <= kGreatestRateSpread; }
};

/// Averages the orientation of a unit over a pose, in constant memory.
///
/// The mean quaternion is the eigenvector of the greatest eigenvalue of sum q q^T: Markley, Cheng, Crassidis,
/// Oshman, "Averaging Quaternions", J. Guidance, Control, and Dynamics 30(4), 2007. Signs do not matter.
class PoseAverage {
public:
    /// @param q unit norm, either sign
    void add(const Quaternion& q, const Vector3& rate);
    std::size_t samples() const { return samples_; }
    /// There must be a sample.
    StillPose result() const;

private:
    Eigen::Matrix4d products_ = Eigen::Matrix4d::Zero();
    Vector3 meanRate_ = Vector3::Zero();
    double squares_ = 0.0;  // of the rate's distance from its mean
    std::size_t samples_ = 0;
};

}  // namespace Kavelin::OrientationInternal
