#pragma once

#include <Eigen/Core>
#include <algorithm>

#include "attitude/so3/SO3Settings.h"

namespace Kavelin::OrientationInternal::SO3 {

/// S3: tells when a unit lies still: both sensors stay near their own low-passed values, and the low-passed
/// rate is small enough to be a bias, for long enough. A heuristic of ours. m/s^2 and rad/s, sensor frame.
class RestWatch {
public:
    /// Forgets what was seen: these values are the new averages.
    void start(const Eigen::Vector3d& acc, const Eigen::Vector3d& rate) {
        acc_ = acc;
        rate_ = rate;
        still_ = 0.0;
    }

    /// @param dt s, above 0.
    void update(double dt, const Eigen::Vector3d& acc, const Eigen::Vector3d& rate, const Settings& limits) {
        constexpr double kFilterTime = 0.4;  // s, of both averages: longer than a jerk, shorter than a rest
        const double gain = std::min(1.0, dt / kFilterTime);
        rate_ += gain * (rate - rate_);
        acc_ += gain * (acc - acc_);
        const bool still = (rate - rate_).squaredNorm() < limits.restRate * limits.restRate &&
                           (acc - acc_).squaredNorm() < limits.restAcceleration * limits.restAcceleration &&
                           rate_.cwiseAbs().maxCoeff() < limits.biasLimit;
        still_ = still ? still_ + dt : 0.0;
        atRest_ = still_ > limits.restTime;
    }

    bool atRest() const { return atRest_; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(acc_, rate_, still_, atRest_);
    }

private:
    Eigen::Vector3d acc_ = Eigen::Vector3d::Zero();
    Eigen::Vector3d rate_ = Eigen::Vector3d::Zero();
    double still_ = 0.0;  // s
    bool atRest_ = false;
};

}  // namespace Kavelin::OrientationInternal::SO3
