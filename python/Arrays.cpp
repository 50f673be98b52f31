#include "python/Arrays.h"

#include <fmt/format.h>

#include <cmath>
#include <memory>

#include "io/recording/Text.h"
#include "python/Errors.h"

namespace Kavelin::Python {

namespace py = pybind11;

namespace {

using RecordingIO::exactText;

/// A subclass may mean something else by its elements: a masked array does.
bool isPlain(py::handle argument) {
    return Py_TYPE(argument.ptr()) == py::detail::npy_api::get().PyArray_Type_ &&
           py::isinstance<Doubles>(argument) &&
           (py::detail::array_proxy(argument.ptr())->flags & py::detail::npy_api::NPY_ARRAY_ALIGNED_) != 0;
}

py::object converted(py::handle argument, const std::string& name) {
    const py::module_ numpy = py::module_::import("numpy");
    py::object array = numpy.attr("asanyarray")(argument);
    if (py::isinstance(array, numpy.attr("ma").attr("MaskedArray")))
        array = array.attr("astype")("float64").attr("filled")(Py_NAN);
    std::string kind = py::str(array.attr("dtype").attr("kind"));
    if (kind == "O" && py::hasattr(argument, "to_numpy")) {  // pandas.NA is no number to numpy
        array = argument.attr("to_numpy")(py::arg("dtype") = "float64", py::arg("na_value") = Py_NAN);
        kind = "f";
    }
    if (kind == "M" || kind == "m")
        throw Refusal(
            Refusal::Kind::kWrongType,
            fmt::format("{0}: elements of type {1}; numbers are expected: of times, ({0} - {0}[0]) / "
                        "numpy.timedelta64(1, \"s\")",
                        name, std::string(py::str(array.attr("dtype")))));
    if (std::string("biufO").find(kind) == std::string::npos)
        throw Refusal(Refusal::Kind::kWrongType,
                      fmt::format("{}: elements of type {}; numbers are expected", name,
                                  std::string(py::str(array.attr("dtype")))));
    return numpy.attr("require")(array, py::arg("dtype") = "float64",
                                 py::arg("requirements") = py::make_tuple("C", "A", "E"));
}

}  // namespace

Doubles doublesOf(py::handle argument, const std::string& name) {
    if (isPlain(argument)) return py::reinterpret_borrow<Doubles>(argument);
    try {
        return py::reinterpret_borrow<Doubles>(converted(argument, name));
    } catch (py::error_already_set& error) {
        // What numpy says of rows of unequal length, and of elements that are no numbers.
        const bool isOfType = error.matches(PyExc_TypeError);
        if (!isOfType && !error.matches(PyExc_ValueError) && !error.matches(PyExc_OverflowError)) throw;
        const std::string text = py::str(error.value());
        throw Refusal(isOfType ? Refusal::Kind::kWrongType : Refusal::Kind::kInvalidValue,
                      fmt::format("{}: {}", name, text));
    }
}

Doubles stampsOf(py::handle argument, const std::string& name) {
    Doubles stamps = doublesOf(argument, name);
    if (stamps.ndim() != 1) refuseShape(name, stamps, "n", "s");
    const double* const t = stamps.data();
    for (py::ssize_t i = 0; i < stamps.size(); ++i) {
        if (!std::isfinite(t[i]))
            throw Refusal(Refusal::Kind::kInvalidValue,
                          fmt::format("{}: row {} is {}; every row needs a time stamp, in s", name, i,
                                      exactText(t[i])));
        if (i > 0 && t[i] < t[i - 1])
            throw Refusal(Refusal::Kind::kInvalidValue,
                          fmt::format("{}: time runs backwards: {} s after {} s, row {}", name,
                                      exactText(t[i]), exactText(t[i - 1]), i));
    }
    return stamps;
}

double stampOf(py::handle argument, const std::string& name) {
    double t;
    if (PyFloat_Check(argument.ptr())) {
        t = PyFloat_AS_DOUBLE(argument.ptr());
    } else {
        const Doubles stamp = doublesOf(argument, name);
        if (stamp.ndim() != 0) refuseShape(name, stamp, "a number", "s");
        t = *stamp.data();
    }
    if (!std::isfinite(t))
        throw Refusal(Refusal::Kind::kInvalidValue,
                      fmt::format("{}: {}; a time stamp is expected, in s", name, exactText(t)));
    return t;
}

void refuseShape(const std::string& name, const py::array& array, const std::string& expected,
                 const std::string& unit) {
    const std::string shape = py::str(array.attr("shape"));
    throw Refusal(Refusal::Kind::kInvalidValue, fmt::format("{}: shape {}; {} is expected{}", name, shape,
                                                            expected, unit.empty() ? "" : ", in " + unit));
}

Doubles arrayOf(std::vector<double>&& values, const std::vector<py::ssize_t>& shape) {
    if (values.capacity() - values.size() > values.size() / 4) values.shrink_to_fit();
    auto owner = std::make_unique<std::vector<double>>(std::move(values));
    const double* const data = owner->data();
    const py::capsule base(owner.get(),
                           [](void* vector) { delete static_cast<std::vector<double>*>(vector); });
    owner.release();
    return Doubles(shape, data, base);
}

}  // namespace Kavelin::Python
