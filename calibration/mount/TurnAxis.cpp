#include "calibration/mount/TurnAxis.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace Kavelin::Calibration {

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;
using Rates = std::span<const Vector3d>;

constexpr int kRounds = 8;
constexpr std::size_t kParts = 8;
constexpr double kSmallestScale = 0.01;  // rad/s, of what is off the axis: a good gyroscope's noise

Vector3d principalAxis(const Matrix3d& scatter) {
    return Eigen::SelfAdjointEigenSolver<Matrix3d>(scatter).eigenvectors().col(2);
}

Vector3d off(const Vector3d& rate, const Vector3d& axis) { return rate - rate.dot(axis) * axis; }

/// Median distance of the rates from the axis.
double scaleOf(Rates rates, const Vector3d& axis) {
    std::vector<double> distances;
    distances.reserve(rates.size());
    for (const Vector3d& rate : rates) distances.push_back(off(rate, axis).norm());
    const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
    std::nth_element(distances.begin(), middle, distances.end());
    return std::max(*middle, kSmallestScale);
}

Matrix3d scatterOf(Rates rates, const Vector3d& axis, double scale) {
    Matrix3d scatter = Matrix3d::Zero();
    for (const Vector3d& rate : rates) {
        const double weight =
            scale > 0.0 ? 1.0 / (1.0 + off(rate, axis).squaredNorm() / (scale * scale)) : 1.0;
        scatter += weight * rate * rate.transpose();
    }
    return scatter;
}

/// Jackknife: how the axis changes when one part of the turn is left out.
double uncertaintyOf(Rates rates, const Vector3d& axis, double scale) {
    std::array<Matrix3d, kParts> parts;
    Matrix3d all = Matrix3d::Zero();
    for (std::size_t i = 0; i < kParts; ++i) {
        const std::size_t begin = rates.size() * i / kParts, end = rates.size() * (i + 1) / kParts;
        parts[i] = scatterOf(rates.subspan(begin, end - begin), axis, scale);
        all += parts[i];
    }
    double squares = 0.0;
    for (const Matrix3d& part : parts) squares += off(principalAxis(all - part), axis).squaredNorm();
    return std::sqrt(squares * (kParts - 1.0) / kParts);
}

}  // namespace

TurnAxis findTurnAxis(Rates rates) {
    TurnAxis turn;
    if (rates.empty()) return turn;
    turn.axis = principalAxis(scatterOf(rates, turn.axis, 0.0));
    for (int round = 0; round < kRounds; ++round)
        turn.axis = principalAxis(scatterOf(rates, turn.axis, scaleOf(rates, turn.axis)));
    double squares = 0.0, squaresOff = 0.0;
    for (const Vector3d& rate : rates) {
        squares += rate.squaredNorm();
        squaresOff += off(rate, turn.axis).squaredNorm();
    }
    turn.across = squares > 0.0 ? std::sqrt(squaresOff / squares) : 1.0;
    turn.uncertainty = uncertaintyOf(rates, turn.axis, scaleOf(rates, turn.axis));
    return turn;
}

}  // namespace Kavelin::Calibration
