#pragma once

#include <Eigen/Core>

namespace Kavelin::Cli {

/// How far an estimate may have turned away while its filter did not know the gyroscope's bias yet: what the
/// bias that it found says of the time before. Looks at the first two minutes, since later changes are those
/// of a warm sensor. A heuristic of ours.
class BiasDrift {
public:
    static constexpr double kWithin = 120.0;  ///< s from the first sample

    /// @param bias rad/s, as the filter holds it to be from now on  @param time s, not decreasing
    void add(double time, const Eigen::Vector3d& bias) {
        if (!hasStart_) start_ = last_ = time;
        hasStart_ = true;
        if (time - start_ > kWithin) return;
        sum_ += bias_ * (time - last_);
        bias_ = bias;
        last_ = time;
    }

    /// rad; 0 for a filter that knew its last bias from the start.
    double angle() const { return (bias_ * (last_ - start_) - sum_).norm(); }

private:
    bool hasStart_ = false;
    double start_ = 0.0;
    double last_ = 0.0;
    Eigen::Vector3d bias_ = Eigen::Vector3d::Zero();
    Eigen::Vector3d sum_ = Eigen::Vector3d::Zero();
};

}  // namespace Kavelin::Cli
