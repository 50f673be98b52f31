#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>

/// The rotation room has one implementation each of: the exponential and the logarithm of rotations
/// (ExponentialMap.h), products and matrices of quaternions (QuaternionAlgebra.h), interpolation (Slerp.h),
/// frames from two directions (EarthFrame.h, and for the filters of the first versions
/// AbsoluteAttitudeComputer.h), wrapping (Angles.h). A variant that must keep different bits stands next to
/// its only user and says so.
///
/// Conventions of every rotation in the project:
/// - a 3x3 matrix is row-major, element (r, c) at index 3r + c of its storage;
/// - a quaternion is w, x, y, z in that order, Hamilton product, unit norm unless said otherwise;
/// - an angle is in radians, and turns are right-handed;
/// - R_ref_sensor takes coordinates in the sensor frame to coordinates in the reference frame, so that inner
///   names cancel: R_a_c = R_a_b * R_b_c.
namespace Kavelin::OrientationInternal {

using Vector3 = Eigen::Vector3d;
using Matrix3 = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;
using Quaternion = Eigen::Vector4d;  // w, x, y, z

/// Lends the first three elements, in storage order, of a sample of any shape.
/// @param sample at least 3 elements, in plain storage; not checked.
/// The view lives as long as the sample's storage.
template <typename Sample>
Eigen::Map<const Vector3> firstThree(const Sample& sample) {
    return Eigen::Map<const Vector3>(sample.data());
}

/// Lends the first nine elements of a row-major sample of any shape, read row by row as a 3x3 matrix.
/// @param sample at least 9 elements; not checked. The view lives as long as the sample's storage.
template <typename Sample>
Eigen::Map<const Matrix3> firstNine(const Sample& sample) {
    return Eigen::Map<const Matrix3>(sample.data());
}

/// Converts to Eigen's class; the only place that knows that Eigen stores x, y, z, w.
inline Eigen::Quaterniond toEigen(const Quaternion& q) { return {q[0], q[1], q[2], q[3]}; }

/// Converts from Eigen's class to w, x, y, z.
inline Quaternion fromEigen(const Eigen::Quaterniond& q) { return {q.w(), q.x(), q.y(), q.z()}; }

}  // namespace Kavelin::OrientationInternal
