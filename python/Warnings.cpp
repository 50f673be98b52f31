#include "python/Warnings.h"

#include <pybind11/pybind11.h>

#include <sstream>
#include <string_view>

namespace Kavelin::Python {

namespace py = pybind11;

namespace {

constexpr Py_ssize_t kCaller = 2;  // the line that called the function of kavelin/*.py

}  // namespace

void warnOf(const std::string& messages) {
    std::istringstream lines(messages);
    constexpr std::string_view kProgram = "kavelin: ";
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(kProgram)) line.erase(0, kProgram.size());
        const py::object category = py::module_::import("kavelin._errors").attr("Warning");
        if (PyErr_WarnEx(category.ptr(), line.c_str(), kCaller) != 0) throw py::error_already_set();
    }
}

}  // namespace Kavelin::Python
