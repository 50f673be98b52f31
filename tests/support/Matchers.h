#pragma once

#include <gmock/gmock.h>

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>

/// Matchers that speak of rotations. Each takes any Eigen matrix: a quaternion is any shape of 4 elements
/// (w, x, y, z), a rotation matrix is 3x3. A NaN anywhere never matches.
namespace Kavelin::Tests {

inline std::string onOneLine(const Eigen::MatrixXd& m) {
    const Eigen::IOFormat format(17, Eigen::DontAlignCols, ", ", "; ", "", "", "[", "]");
    std::ostringstream text;
    text << m.rows() << "x" << m.cols() << " " << m.format(format);
    return text.str();
}

/// Reads a quaternion or a rotation matrix as a 3x3 matrix, as it stands (a quaternion's norm shows
/// in the result).
inline Eigen::Matrix3d rotationOf(const Eigen::MatrixXd& m) {
    if (m.rows() == 3 && m.cols() == 3) return m;
    if (m.size() != 4) return Eigen::Matrix3d::Constant(std::nan(""));
    return Eigen::Quaterniond(m(0), m(1), m(2), m(3)).toRotationMatrix();
}

/// Computes the angle, rad in [0, pi], of the turn between two rotations given as quaternions or matrices.
inline double angleBetween(const Eigen::MatrixXd& a, const Eigen::MatrixXd& b) {
    const double distance = (rotationOf(a) - rotationOf(b)).norm() / std::sqrt(8.0);
    return std::isnan(distance) ? distance : 2 * std::asin(std::min(1.0, distance));
}

MATCHER_P2(SameRotationMatcher, expected, tolerance, "") {
    const double angle = angleBetween(arg, expected);
    *result_listener << onOneLine(arg) << " is " << angle << " rad away from " << onOneLine(expected);
    return angle <= tolerance && (arg.size() != 4 || std::abs(Eigen::MatrixXd(arg).norm() - 1) <= 1e-6);
}

MATCHER_P2(NearMatrixMatcher, expected, tolerance, "") {
    *result_listener << onOneLine(arg) << " against " << onOneLine(expected);
    return arg.rows() == expected.rows() && arg.cols() == expected.cols() &&
           (arg.size() == 0 || (Eigen::MatrixXd(arg) - expected).array().abs().maxCoeff() <= tolerance) &&
           !Eigen::MatrixXd(arg).hasNaN();
}

MATCHER_P(OrthonormalMatcher, tolerance, "") {
    const Eigen::MatrixXd m = arg;
    const Eigen::MatrixXd excess = m * m.transpose() - Eigen::MatrixXd::Identity(m.rows(), m.rows());
    *result_listener << onOneLine(m) << ", M M^T - I is " << onOneLine(excess);
    return m.rows() == m.cols() && excess.norm() <= tolerance && m.determinant() > 0;
}

MATCHER_P(UnitNormMatcher, tolerance, "") {
    const double norm = Eigen::MatrixXd(arg).norm();
    *result_listener << onOneLine(arg) << " has the norm " << norm;
    return std::abs(norm - 1) <= tolerance;
}

/// The same rotation within `tolerance` (rad): quaternions of either sign, matrices, or one of each.
template <typename M>
auto isSameRotationAs(const Eigen::MatrixBase<M>& expected, double tolerance = 1e-9) {
    return SameRotationMatcher(Eigen::MatrixXd(expected), tolerance);
}

/// The same shape, and every element within `tolerance`.
template <typename M>
auto isNearMatrix(const Eigen::MatrixBase<M>& expected, double tolerance = 1e-12) {
    return NearMatrixMatcher(Eigen::MatrixXd(expected), tolerance);
}

/// Square, rows orthogonal and of unit length, right-handed.
inline auto isOrthonormal(double tolerance = 1e-12) { return OrthonormalMatcher(tolerance); }

/// Euclidean norm 1.
inline auto hasUnitNorm(double tolerance = 1e-12) { return UnitNormMatcher(tolerance); }

}  // namespace Kavelin::Tests
