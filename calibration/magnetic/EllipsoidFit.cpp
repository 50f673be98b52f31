#include "calibration/magnetic/EllipsoidFit.h"

#include <Eigen/Eigenvalues>
#include <Eigen/LU>
#include <Eigen/QR>
#include <cmath>

namespace Kavelin::Calibration {

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;
using Vector6 = Eigen::Matrix<double, 6, 1>;
using Matrix6 = Eigen::Matrix<double, 6, 6>;
using Matrix10 = Eigen::Matrix<double, 10, 10>;

const double kSmallestSpan = 1e-6;  // eigenvalue, of the greatest: below, points have no extent there

/// Brings points to the order of 1 about 0.
struct Scaling {
    Vector3d mean = Vector3d::Zero();
    double length = 0.0;

    Scaling(const std::vector<Vector3d>& points, const std::vector<double>& weights) {
        double sum = 0.0;
        for (std::size_t i = 0; i < points.size(); ++i) {
            mean += weights[i] * points[i];
            sum += weights[i];
        }
        mean /= sum;
        for (std::size_t i = 0; i < points.size(); ++i)
            length += weights[i] / sum * (points[i] - mean).squaredNorm();
        length = std::sqrt(length);
    }
    Vector3d operator()(const Vector3d& point) const { return (point - mean) / length; }
};

/// Symmetric, so that |shape (m - centre)| = 1, of the quadric m.Q m + 2 q.m + d = 0.
std::optional<EllipsoidModel> modelOf(const Matrix3d& quadric, const Vector3d& linear, double constant) {
    const Vector3d centre = -quadric.fullPivLu().solve(linear);
    const double level = centre.dot(quadric * centre) - constant;
    const Eigen::SelfAdjointEigenSolver<Matrix3d> axes(quadric / level);
    if (!centre.allFinite() || !(axes.eigenvalues()[0] > 0.0)) return std::nullopt;
    return EllipsoidModel{centre, axes.operatorSqrt()};
}

EllipsoidModel unscaled(const EllipsoidModel& model, const Scaling& scaling) {
    return {scaling.mean + scaling.length * model.centre, model.shape / scaling.length};
}

}  // namespace

std::optional<EllipsoidModel> fitSphere(const std::vector<Vector3d>& points,
                                        const std::vector<double>& weights) {
    const Scaling scaling(points, weights);
    if (!(scaling.length > 0.0)) return std::nullopt;
    Matrix3d squares = Matrix3d::Zero();
    Vector3d right = Vector3d::Zero();
    double sum = 0.0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const Vector3d p = scaling(points[i]);
        squares += weights[i] * p * p.transpose();
        right += weights[i] * p * (p.squaredNorm() - 1.0);  // the mean of the squares is 1
        sum += weights[i];
    }
    const Eigen::SelfAdjointEigenSolver<Matrix3d> axes(squares / sum);
    const Vector3d& spans = axes.eigenvalues();
    if (!(spans[1] > kSmallestSpan * spans[2])) return std::nullopt;
    Vector3d centre = Vector3d::Zero();
    for (int i = 0; i < 3; ++i) {
        const Vector3d axis = axes.eigenvectors().col(i);
        if (spans[i] > kSmallestSpan * spans[2]) centre += axis * axis.dot(right / sum) / (2.0 * spans[i]);
    }
    const double radius = std::sqrt(1.0 + centre.squaredNorm());
    return unscaled({centre, Matrix3d::Identity() / radius}, scaling);
}

std::optional<EllipsoidModel> fitEllipsoid(const std::vector<Vector3d>& points,
                                           const std::vector<double>& weights) {
    const Scaling scaling(points, weights);
    if (!(scaling.length > 0.0)) return std::nullopt;
    Matrix10 scatter = Matrix10::Zero();
    for (std::size_t i = 0; i < points.size(); ++i) {
        const Vector3d p = scaling(points[i]);
        Eigen::Matrix<double, 10, 1> row;
        row << p.x() * p.x(), p.y() * p.y(), p.z() * p.z(), 2.0 * p.y() * p.z(), 2.0 * p.x() * p.z(),
            2.0 * p.x() * p.y(), 2.0 * p, 1.0;
        scatter.selfadjointView<Eigen::Lower>().rankUpdate(row, weights[i]);
    }
    scatter = scatter.selfadjointView<Eigen::Lower>();
    Matrix6 constraint = Matrix6::Zero();  // 4 J - I^2 > 0
    constraint.topLeftCorner<3, 3>() = Matrix3d::Ones() - 2.0 * Matrix3d::Identity();
    constraint.bottomRightCorner<3, 3>() = -4.0 * Matrix3d::Identity();
    const auto lower = scatter.bottomRightCorner<4, 4>().fullPivLu();
    if (!lower.isInvertible()) return std::nullopt;
    const Eigen::Matrix<double, 4, 6> elimination = lower.solve(scatter.bottomLeftCorner<4, 6>());
    const Matrix6 reduced = scatter.topLeftCorner<6, 6>() - scatter.topRightCorner<6, 4>() * elimination;
    const Eigen::EigenSolver<Matrix6> solver(constraint.inverse() * reduced);
    Eigen::Index best = 0;
    solver.eigenvalues().real().maxCoeff(&best);  // the only positive one
    const Vector6 u = solver.eigenvectors().col(best).real();
    const Eigen::Vector4d v = -elimination * u;
    Matrix3d quadric;
    quadric << u[0], u[5], u[4], u[5], u[1], u[3], u[4], u[3], u[2];
    const std::optional<EllipsoidModel> model = modelOf(quadric, v.head<3>(), v[3]);
    if (!model) return std::nullopt;
    return unscaled(*model, scaling);
}

}  // namespace Kavelin::Calibration
