#pragma once

#include <pybind11/numpy.h>

#include <string>
#include <vector>

namespace Kavelin::Python {

using Doubles = pybind11::array_t<double, pybind11::array::c_style>;

// All with the interpreter's lock. `name` is the argument's, for messages.

/// `argument` as contiguous doubles: the array itself, without a copy, where it is that already; else a converted copy of
/// numbers of another type, other strides, a list. Masked elements become NaN.
/// @throws Refusal "acc: elements of type complex128; numbers are expected".
Doubles doublesOf(pybind11::handle argument, const std::string& name);

/// Time stamps: n finite numbers that do not decrease, s.  @throws Refusal naming the row that is wrong.
Doubles stampsOf(pybind11::handle argument, const std::string& name = "t");

/// One finite number, s.
double stampOf(pybind11::handle argument, const std::string& name = "t");

/// @throws Refusal "acc: shape (100, 2); n x 3 is expected, in m/s^2". @param unit may be empty
[[noreturn]] void refuseShape(const std::string& name, const pybind11::array& array,
                              const std::string& expected, const std::string& unit);

/// An array that owns `values`, which are not copied.  @pre as many as `shape` has elements
Doubles arrayOf(std::vector<double>&& values, const std::vector<pybind11::ssize_t>& shape);

}  // namespace Kavelin::Python
