#include "attitude/so3/JointFit.h"

#include <Eigen/Cholesky>
#include <cmath>

namespace Kavelin::OrientationInternal::SO3 {

namespace {

constexpr double kForgetting = 41.2;        // s of motion
constexpr double kLeastGain = 22.4;         // s of motion: how much better the fit must explain what was seen
constexpr double kPrior = 0.479;            // s of motion that speak for the present hard iron
constexpr double kLargestResidual = 0.067;  // relative; a worse fit explains nothing
constexpr double kFieldNoise = 0.0187;      // relative

}  // namespace

void JointFit::add(const FieldSeen& seen) {
    if (evidence_ == 0.0) *this = JointFit();
    const double kept = std::exp(-seen.motion / kForgetting);
    evidence_ = kept * evidence_ + seen.motion;
    turned_ = kept * turned_ + seen.motion * seen.turned;
    earthSum_ = kept * earthSum_ + seen.motion * seen.measured;
    bodySum_ = kept * bodySum_ + seen.motion * (seen.turned.transpose() * seen.measured);
    squares_ = kept * squares_ + seen.motion * seen.measured.squaredNorm();
}

double JointFit::residual(const Eigen::Vector3d& hardIron) const {
    const Eigen::Vector3d field = (earthSum_ - turned_ * hardIron) / evidence_;
    return (squares_ - 2.0 * hardIron.dot(bodySum_) + evidence_ * hardIron.squaredNorm()) / evidence_ -
           field.squaredNorm();
}

std::optional<JointFit::Result> JointFit::solve(const Eigen::Vector3d& hardIron) const {
    // Grows with the evidence and the diversity of its orientations.
    const double information = evidence_ - turned_.squaredNorm() / (3.0 * evidence_);
    if (!(information > 0.0)) return std::nullopt;
    const Eigen::Matrix3d normal =
        (evidence_ + kPrior) * Eigen::Matrix3d::Identity() - turned_.transpose() * turned_ / evidence_;
    const Eigen::Vector3d right = bodySum_ - turned_.transpose() * earthSum_ / evidence_ + kPrior * hardIron;
    const Eigen::Vector3d found = normal.ldlt().solve(right);
    const double before = residual(hardIron);
    const double after = residual(found);
    const bool isGood = after < kLargestResidual * kLargestResidual;
    const bool isBetter = (before - after) * information > kLeastGain * (after + kFieldNoise * kFieldNoise);
    if (!isGood || !isBetter) return std::nullopt;
    return Result{found, (earthSum_ - turned_ * found) / evidence_, after};
}

}  // namespace Kavelin::OrientationInternal::SO3
