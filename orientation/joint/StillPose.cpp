#include "orientation/joint/StillPose.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>

namespace Kavelin::OrientationInternal {

void PoseAverage::add(const Quaternion& q, const Vector3& rate) {
    products_ += q * q.transpose();
    ++samples_;
    const Vector3 before = rate - meanRate_;
    meanRate_ += before / static_cast<double>(samples_);
    squares_ += before.dot(rate - meanRate_);
}

StillPose PoseAverage::result() const {
    const Eigen::SelfAdjointEigenSolver<Eigen::Matrix4d> solver(products_);
    Quaternion mean = solver.eigenvectors().col(3);
    if (mean[0] < 0.0) mean = -mean;
    const double count = static_cast<double>(samples_);
    // The eigenvalue is the sum of the squared cosines of half the angles.
    const double sine = std::sqrt(std::max(0.0, 1.0 - solver.eigenvalues()[3] / count));
    return {.q_earth_sensor = mean,
            .meanRate = meanRate_,
            .spread = 2.0 * std::asin(std::min(1.0, sine)),
            .rateSpread = std::sqrt(squares_ / count),
            .samples = samples_};
}

}  // namespace Kavelin::OrientationInternal
