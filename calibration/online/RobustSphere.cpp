#include "calibration/online/RobustSphere.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>

namespace Kavelin::Calibration {

namespace {

using Eigen::Matrix4d;
using Eigen::Vector3d;
using Eigen::Vector4d;
using Points = std::span<const Vector3d>;

constexpr std::size_t kFewestPoints = 10;
constexpr int kRounds = 15;
constexpr double kSmallestScale = 1e-3;  // of the residuals, as a share of the radius
constexpr double kFlat = 1e-6;  // smallest eigenvalue of the normal equations, as a share of the greatest

/// Points shifted and scaled to about unit size.
struct Frame {
    Vector3d middle = Vector3d::Zero();
    double size = 1.0;
};

Frame frameOf(Points points) {
    Frame frame;
    for (const Vector3d& point : points) frame.middle += point / static_cast<double>(points.size());
    double sum = 0.0;
    for (const Vector3d& point : points) sum += (point - frame.middle).squaredNorm();
    frame.size = std::sqrt(sum / static_cast<double>(points.size()));
    return frame;
}

/// Weight of a residual, the Cauchy loss's.
double weight(double residual, double scale) {
    const double ratio = residual / scale;
    return 1.0 / (1.0 + ratio * ratio);
}

/// One round of least squares of |m|^2 = 2 c.m + d.  @param scale of the residuals; 0: all weigh the same
std::optional<Sphere> fitOnce(Points points, const Frame& frame, const Sphere& before, double scale) {
    Matrix4d normal = Matrix4d::Zero();
    Vector4d right = Vector4d::Zero();
    for (const Vector3d& point : points) {
        const double w = scale > 0.0 ? weight(before.distance(point), scale) : 1.0;
        const Vector3d m = (point - frame.middle) / frame.size;
        const Vector4d row(2.0 * m.x(), 2.0 * m.y(), 2.0 * m.z(), 1.0);
        normal += w * row * row.transpose();
        right += w * m.squaredNorm() * row;
    }
    const Eigen::SelfAdjointEigenSolver<Matrix4d> eigen(normal, Eigen::EigenvaluesOnly);
    if (!(eigen.eigenvalues()[0] > kFlat * eigen.eigenvalues()[3])) return std::nullopt;
    const Vector4d solution = normal.ldlt().solve(right);
    const Vector3d centre = solution.head<3>();
    const double squared = solution[3] + centre.squaredNorm();
    if (!solution.allFinite() || !(squared > 0.0)) return std::nullopt;
    return Sphere{frame.middle + frame.size * centre, frame.size * std::sqrt(squared)};
}

/// 1.5 times the median of the residuals, about their standard deviation without outliers.
double scaleOf(Points points, const Sphere& sphere, std::span<double> scratch) {
    for (std::size_t i = 0; i < points.size(); ++i) scratch[i] = std::abs(sphere.distance(points[i]));
    const auto middle = scratch.begin() + static_cast<std::ptrdiff_t>(points.size() / 2);
    std::nth_element(scratch.begin(), middle, scratch.begin() + static_cast<std::ptrdiff_t>(points.size()));
    return std::max(1.4826 * *middle, kSmallestScale * sphere.radius);
}

void judge(Sphere& sphere, Points points, double scale) {
    Matrix4d information = Matrix4d::Zero();
    double squares = 0.0, weights = 0.0;
    for (const Vector3d& point : points) {
        const double residual = sphere.distance(point);
        const double w = weight(residual, scale);
        const Vector3d normal = (point - sphere.centre).normalized();
        const Vector4d row(normal.x(), normal.y(), normal.z(), 1.0);
        information += w * row * row.transpose();
        squares += w * residual * residual;
        weights += w;
    }
    sphere.residual = std::sqrt(squares / weights);
    const Eigen::Matrix3d ofCentre = information.inverse().topLeftCorner<3, 3>();
    const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> eigen(ofCentre, Eigen::EigenvaluesOnly);
    const double worst = eigen.eigenvalues()[2];
    sphere.deviation = worst > 0.0
                           ? std::max(sphere.residual, kSmallestScale * sphere.radius) * std::sqrt(worst)
                           : std::numeric_limits<double>::infinity();
}

}  // namespace

std::optional<Sphere> robustSphere(Points points, std::span<double> scratch) {
    if (points.size() < kFewestPoints || scratch.size() < points.size()) return std::nullopt;
    const Frame frame = frameOf(points);
    if (!(frame.size > 0.0) || !std::isfinite(frame.size)) return std::nullopt;
    std::optional<Sphere> sphere = fitOnce(points, frame, {}, 0.0);
    double scale = 0.0;
    for (int round = 0; round < kRounds && sphere; ++round) {
        scale = scaleOf(points, *sphere, scratch);
        sphere = fitOnce(points, frame, *sphere, scale);
    }
    if (sphere) judge(*sphere, points, scale);
    return sphere;
}

}  // namespace Kavelin::Calibration
