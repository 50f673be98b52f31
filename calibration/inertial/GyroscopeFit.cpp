#include "calibration/inertial/GyroscopeFit.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>

#include "attitude/rotation/ExponentialMap.h"
#include "calibration/inertial/LevenbergMarquardt.h"
#include "calibration/inertial/RobustWeights.h"

namespace Kavelin::Calibration {

namespace {

using OrientationInternal::quaternionFromRotationVector;
using Sensitivity = Eigen::Matrix<double, 3, 9>;

constexpr double kLeastAngle = 0.002;  // rad; what handling and filters of the sensors leave

Eigen::Matrix3d crossMatrix(const Eigen::Vector3d& v) {
    Eigen::Matrix3d m;
    m << 0.0, -v.z(), v.y(), v.z(), 0.0, -v.x(), -v.y(), v.x(), 0.0;
    return m;
}

/// Gravity's direction after a turn by the rates, sensor frame.
Eigen::Vector3d turned(const Turn& turn, const Eigen::Matrix3d& matrix, const Eigen::Vector3d& bias) {
    Eigen::Quaterniond q = Eigen::Quaterniond::Identity();
    for (std::size_t i = 0; i < turn.rates.size(); ++i) {
        q = q * quaternionFromRotationVector(matrix * (turn.rates[i] - bias) * turn.steps[i]);
    }
    return q.conjugate() * turn.up_before;
}

/// The same, with its derivatives by the elements of the matrix, column by column.
Eigen::Vector3d turned(const Turn& turn, const Eigen::Matrix3d& matrix, Sensitivity& derivatives) {
    Eigen::Vector3d up = turn.up_before;
    Sensitivity angles = Sensitivity::Zero();  // small turn of the end by a change of the matrix
    for (std::size_t i = 0; i < turn.rates.size(); ++i) {
        const Eigen::Vector3d rate = turn.rates[i] - turn.bias;
        const Eigen::Vector3d angle = matrix * rate * turn.steps[i];
        const Eigen::Matrix3d back = quaternionFromRotationVector(-angle).toRotationMatrix();
        const Eigen::Matrix3d left = turn.steps[i] * (Eigen::Matrix3d::Identity() - 0.5 * crossMatrix(angle));
        up = back * up;
        angles = back * angles;
        for (Eigen::Index column = 0; column < 3; ++column) {
            angles.middleCols<3>(3 * column) -= rate[column] * left;
        }
    }
    derivatives.noalias() = -crossMatrix(up) * angles;
    return up;
}

Eigen::Matrix3d matrixOf(const Eigen::VectorXd& x) { return Eigen::Map<const Eigen::Matrix3d>(x.data()); }

/// @param biasShare 1, or 0 for raw rates
std::vector<double> anglesOff(const std::vector<Turn>& turns, const Eigen::Matrix3d& matrix,
                              double biasShare = 1.0) {
    std::vector<double> angles;
    for (const Turn& turn : turns) {
        const Eigen::Vector3d up = turned(turn, matrix, biasShare * turn.bias);
        angles.push_back(std::atan2(up.cross(turn.up_after).norm(), up.dot(turn.up_after)));
    }
    return angles;
}

double rootMeanSquare(const std::vector<double>& values) {
    double sum = 0.0;
    for (const double value : values) sum += value * value;
    return values.empty() ? 0.0 : std::sqrt(sum / static_cast<double>(values.size()));
}

/// The axis about which turns are missing: the right factor of the least certain change of the matrix.
Eigen::Vector3d missingAxis(const Eigen::VectorXd& change) {
    const Eigen::Matrix3d m = matrixOf(change);
    Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> eigen(m.transpose() * m);
    const Eigen::Vector3d axis = eigen.eigenvectors().col(2);
    Eigen::Index greatest = 0;
    axis.cwiseAbs().maxCoeff(&greatest);
    return axis[greatest] < 0.0 ? Eigen::Vector3d(-axis) : axis;
}

NormalEquations linearise(const std::vector<Turn>& turns, const std::vector<double>& weights,
                          const Eigen::VectorXd& x) {
    NormalEquations sums(9);
    Sensitivity derivatives;
    for (std::size_t i = 0; i < turns.size(); ++i) {
        const Eigen::Vector3d up = turned(turns[i], matrixOf(x), derivatives);
        for (Eigen::Index axis = 0; axis < 3; ++axis) {
            sums.add(derivatives.row(axis).transpose(), up[axis] - turns[i].up_after[axis], weights[i]);
        }
    }
    return sums;
}

}  // namespace

GyroscopeFit fitGyroscope(const std::vector<Turn>& turns, double leastAngle) {
    GyroscopeFit fit;
    fit.uncertainty = std::numeric_limits<double>::infinity();
    leastAngle = std::max(leastAngle, kLeastAngle);
    fit.residualRaw = rootMeanSquare(anglesOff(turns, fit.matrix, 0.0));
    fit.residualBias = fit.residualAfter = rootMeanSquare(anglesOff(turns, fit.matrix));
    if (turns.empty()) return fit;

    std::vector<double> weights(turns.size(), 1.0);
    Eigen::VectorXd x = Eigen::Map<const Eigen::VectorXd>(fit.matrix.data(), 9);
    NormalEquations at(9);
    for (int round = 0; round < 3; ++round) {
        at = minimise(x, [&](const Eigen::VectorXd& point) { return linearise(turns, weights, point); });
        const std::vector<double> off = anglesOff(turns, matrixOf(x));
        const double scale = robustScale(off, 4, leastAngle);
        std::transform(off.begin(), off.end(), weights.begin(),
                       [scale](double angle) { return huberWeight(angle, scale); });
    }
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> eigen(at.information);
    fit.leastTurned = missingAxis(eigen.eigenvectors().col(0));
    const double residuals = 2.0 * static_cast<double>(turns.size());  // a direction has two
    fit.residualAfter = rootMeanSquare(anglesOff(turns, matrixOf(x)));
    fit.matrix = matrixOf(x);
    if (residuals <= 9.0 || !(eigen.eigenvalues()[0] > 0.0)) return fit;
    const double deviation = std::max(leastAngle, std::sqrt(at.cost / (residuals - 9.0)));
    fit.uncertainty = deviation / std::sqrt(eigen.eigenvalues()[0]);
    return fit;
}

}  // namespace Kavelin::Calibration
