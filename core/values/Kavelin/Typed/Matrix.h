#pragma once

#include <Eigen/Core>

// A matrix that one module makes is read and freed by others: all must align it alike.
static_assert(
    EIGEN_MAX_ALIGN_BYTES == 16,
    "Build this module with -DEIGEN_MAX_ALIGN_BYTES=16, as every module that exchanges matrices is; "
    "linking Kavelin::Typed does it");

namespace Kavelin::Core {

/// Payload of every pin and of matrix properties: dense, doubles, row-major, any shape.
/// Element (r, c) of an R x C matrix lies at index r * C + c of `data()`.
using Matrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

}  // namespace Kavelin::Core
