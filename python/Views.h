#pragma once

#include <pybind11/numpy.h>

#include <string>
#include <vector>

namespace Kavelin::Python {

// All with the interpreter's lock.

/// An array that shows memory of `owner`, and keeps it alive; not to be written to.
pybind11::array shown(const std::vector<double>& values, std::vector<pybind11::ssize_t> shape,
                      pybind11::handle owner);

/// A text of the program; other bytes than UTF-8 become U+FFFD.
pybind11::str shown(const std::string& text);
pybind11::list shown(const std::vector<std::string>& texts);

}  // namespace Kavelin::Python
