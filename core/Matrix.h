#pragma once

#include <Eigen/Core>

namespace Kavelin::Core {

/// Payload of every pin and of matrix properties: dense, doubles, row-major, any shape.
/// Element (r, c) of an R x C matrix lies at index r * C + c of `data()`.
using Matrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

}  // namespace Kavelin::Core
