#pragma once

#include <Kavelin/Typed/Matrix.h>
#include <pybind11/pybind11.h>

#include <string>
#include <vector>

#include "python/SampleLog.h"

namespace Kavelin::Python {

// Samples as Python has them: vectors, rows and columns alike, have one axis, numbers none, matrices two.
// All with the interpreter's lock.

/// One sample: an array of k, r x c, or a number as an array without axes.
pybind11::object arrayOf(const Core::Matrix& sample);

/// (t, values): n; n x k, n x r x c, or n. Samples of several shapes are an object array of arrays. The memory of `table`
/// becomes the arrays'.
pybind11::tuple toPython(SampleTable&& table);

/// Texts of the program; other bytes than UTF-8 become U+FFFD.
pybind11::list toPython(const std::vector<std::string>& texts);

}  // namespace Kavelin::Python
