#include "calibration/magnetic/GravityAlignment.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <Eigen/LU>
#include <algorithm>
#include <cmath>
#include <utility>

#include "attitude/rotation/ExponentialMap.h"
#include "calibration/model/RobustLoss.h"

namespace Kavelin::Calibration {

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;
using Unknowns = Eigen::Vector4d;  // turn, sine of the elevation

const double kSmallestScatter = 0.005;  // of a sine
const double kPriorTurn = 0.1;          // rad; keeps a turn that the data leave open at none
const int kRounds = 20, kHuberRounds = 5;

double sineOf(const FieldAndUp& pair, const Matrix3d& turn) {
    return pair.up.dot(turn * pair.field) / pair.field.norm();
}

/// Median and robust deviation of the sines.
std::pair<double, double> sines(const std::vector<FieldAndUp>& pairs, const Matrix3d& turn) {
    std::vector<std::pair<double, double>> values;
    for (const FieldAndUp& pair : pairs) values.emplace_back(sineOf(pair, turn), pair.weight);
    const double median = weightedMedian(values);
    for (auto& value : values) value.first = std::abs(value.first - median);
    return {median, deviationOfMedian(weightedMedian(std::move(values)))};
}

/// A Gauss-Newton step's normal equations.
struct Step {
    Eigen::Matrix4d normal = Eigen::Matrix4d::Zero();
    Unknowns gradient = Unknowns::Zero();
};

Step stepOf(const std::vector<FieldAndUp>& pairs, const Eigen::Quaterniond& turn, double sine, double sigma,
            bool isRough) {
    const double prior = 1.0 / (kPriorTurn * kPriorTurn);
    Step step;
    step.normal.diagonal() << Vector3d::Constant(prior), 1e-6;
    step.gradient.head<3>() =
        prior * OrientationInternal::rotationVectorFromQuaternion(OrientationInternal::fromEigen(turn));
    const Matrix3d R = turn.toRotationMatrix();
    for (const FieldAndUp& pair : pairs) {
        const Vector3d field = (R * pair.field).normalized();
        const double residual = (pair.up.dot(field) - sine) / sigma;
        const double weight =
            pair.weight * (isRough ? HuberLoss::weight(residual) : TukeyLoss::weight(residual));
        Unknowns row;
        row << field.cross(pair.up), -1.0;
        step.gradient += weight * residual / sigma * row;
        step.normal += weight / (sigma * sigma) * row * row.transpose();
    }
    return step;
}

}  // namespace

GravityAlignment alignWithGravity(const std::vector<FieldAndUp>& pairs) {
    GravityAlignment found;
    Eigen::Quaterniond turn = Eigen::Quaterniond::Identity();
    auto [sine, scatter] = sines(pairs, found.R_acc_mag);
    found.scatterBefore = scatter / std::sqrt(std::max(0.05, 1.0 - sine * sine));
    Eigen::Matrix4d normal;
    for (int round = 0; round < kRounds; ++round) {
        const Step step =
            stepOf(pairs, turn, sine, std::max(kSmallestScatter, scatter), round < kHuberRounds);
        normal = step.normal;
        const Unknowns change = normal.ldlt().solve(-step.gradient);
        if (!change.allFinite()) break;
        turn = OrientationInternal::quaternionFromRotationVector(change.head<3>()) * turn;
        turn.normalize();
        sine += change[3];
        found.R_acc_mag = turn.toRotationMatrix();
        scatter = sines(pairs, found.R_acc_mag).second;
        if (round > kHuberRounds && change.norm() < 1e-8) break;
    }
    const double cosine = std::sqrt(std::max(0.05, 1.0 - sine * sine));
    found.scatterAfter = scatter / cosine;
    found.dip = -std::asin(std::clamp(sine, -1.0, 1.0));
    found.turn = 2.0 * std::atan2(turn.vec().norm(), std::abs(turn.w()));
    const Eigen::SelfAdjointEigenSolver<Matrix3d> spread(
        Eigen::Matrix4d(normal.inverse()).topLeftCorner<3, 3>(), Eigen::EigenvaluesOnly);
    found.deviation = std::sqrt(std::max(0.0, spread.eigenvalues()[2]));
    return found;
}

}  // namespace Kavelin::Calibration
