#include "python/Values.h"

#include <fmt/format.h>

#include "cli/layout/PropertyAccess.h"
#include "python/Arrays.h"
#include "python/Errors.h"

namespace Kavelin::Python {

namespace py = pybind11;

namespace {

using Cli::PropertyValue;

bool isText(py::handle object) {
    return PyUnicode_Check(object.ptr()) || PyBytes_Check(object.ptr()) || py::hasattr(object, "__fspath__");
}

/// True, numpy.True_
bool isBool(py::handle object) {
    return PyBool_Check(object.ptr()) || py::isinstance(object, py::module_::import("numpy").attr("bool_"));
}

double numberOf(py::handle object, const std::string& name) {
    const double number = PyFloat_AsDouble(object.ptr());
    if (!(number == -1.0 && PyErr_Occurred() != nullptr)) return number;
    py::error_already_set error;
    if (error.matches(PyExc_OverflowError))
        throw Refusal(Refusal::Kind::kInvalidValue, name + ": the number is too large");
    if (!error.matches(PyExc_TypeError)) throw error;
    throw Refusal(Refusal::Kind::kWrongType,
                  fmt::format("{}: a bool, a number, a text or an array is expected; this is {}", name,
                              Py_TYPE(object.ptr())->tp_name));
}

bool isColumn(const Core::AbstractProperty* property, Eigen::Index elements) {
    if (property == nullptr || property->describe().kind != "matrix") return false;
    const Core::Matrix now = Cli::presentValue(*property, {}).matrix;
    return now.cols() == 1 && now.rows() == elements && elements > 1;
}

Core::Matrix matrixOf(const Doubles& array, const std::string& name, const Core::AbstractProperty* property) {
    if (array.ndim() > 2) refuseShape(name, array, "r x c", {});
    Eigen::Index rows = array.ndim() == 2 ? array.shape(0) : 1;
    Eigen::Index columns = array.shape(array.ndim() - 1);
    if (array.size() == 0 && array.ndim() == 1) rows = 0;
    if (array.ndim() == 1 && isColumn(property, columns)) std::swap(rows, columns);
    return Eigen::Map<const Core::Matrix>(array.data(), rows, columns);
}

bool isArray(py::handle object) {
    if (py::isinstance<py::array>(object)) return py::reinterpret_borrow<py::array>(object).ndim() > 0;
    return PyList_Check(object.ptr()) || PyTuple_Check(object.ptr());
}

}  // namespace

PropertyValue valueOf(py::handle object, const std::string& name, const Core::AbstractProperty* property) {
    PropertyValue value;
    if (isText(object)) {
        value.text = textOf(object, name);
    } else if (isArray(object)) {
        value.kind = PropertyValue::Kind::matrix;
        value.matrix = matrixOf(doublesOf(object, name), name, property);
    } else if (isBool(object)) {
        value.kind = PropertyValue::Kind::boolean;
        value.boolean = PyObject_IsTrue(object.ptr()) == 1;
    } else {
        value.kind = PropertyValue::Kind::number;
        value.number = numberOf(object, name);
    }
    return value;
}

py::object presentOf(const PropertyValue& value, const std::string& kind) {
    switch (value.kind) {
        case PropertyValue::Kind::boolean:
            return py::bool_(value.boolean);
        case PropertyValue::Kind::number:
            return kind == "double" ? py::object(py::float_(value.number))
                                    : py::object(py::int_(static_cast<long long>(value.number)));
        case PropertyValue::Kind::matrix: {
            const Core::Matrix& matrix = value.matrix;
            return arrayOf({matrix.data(), matrix.data() + matrix.size()}, {matrix.rows(), matrix.cols()});
        }
        case PropertyValue::Kind::text:
            break;
    }
    return toPython(value.text);
}

py::object presentOf(const Core::AbstractProperty& property) {
    PropertyValue value = Cli::presentValue(property, {});
    // A label; a text whose variables stay as they are written.
    if (value.kind == PropertyValue::Kind::text) property.serialize(value.text);
    return presentOf(value, property.describe().kind);
}

std::string textOf(py::handle object, const std::string& name) {
    if (!isText(object))
        throw Refusal(Refusal::Kind::kWrongType, fmt::format("{}: a text is expected; this is {}", name,
                                                             Py_TYPE(object.ptr())->tp_name));
    std::string text;
    try {
        text = py::bytes(py::module_::import("os").attr("fsencode")(object));
    } catch (py::error_already_set& error) {
        if (!error.matches(PyExc_UnicodeError)) throw;
        throw Refusal(Refusal::Kind::kInvalidValue,
                      name + ": a text with half a character (a surrogate) in it");
    }
    if (text.find('\0') != std::string::npos)
        throw Refusal(Refusal::Kind::kInvalidValue, name + ": a text with a NUL in it");
    return text;
}

py::str toPython(const std::string& text) {
    PyObject* decoded =
        PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape");
    if (decoded == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(decoded);
}

}  // namespace Kavelin::Python
