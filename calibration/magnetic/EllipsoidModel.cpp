#include "calibration/magnetic/EllipsoidModel.h"

#include <Eigen/Eigenvalues>
#include <Eigen/LU>
#include <cmath>
#include <limits>

namespace Kavelin::Calibration {

double EllipsoidModel::radius() const { return 1.0 / std::cbrt(std::abs(shape.determinant())); }

double EllipsoidModel::elongation() const {
    const Eigen::Vector3d values =
        Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d>(shape, Eigen::EigenvaluesOnly).eigenvalues();
    return values[0] > 0.0 ? values[2] / values[0] : std::numeric_limits<double>::infinity();
}

}  // namespace Kavelin::Calibration
