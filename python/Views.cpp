#include "python/Views.h"

namespace Kavelin::Python {

namespace py = pybind11;

py::array shown(const std::vector<double>& values, std::vector<py::ssize_t> shape, py::handle owner) {
    py::array array(py::dtype::of<double>(), std::move(shape), values.data(), owner);
    array.attr("setflags")(py::arg("write") = false);
    return array;
}

py::str shown(const std::string& text) {
    PyObject* decoded = PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace");
    if (decoded == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(decoded);
}

py::list shown(const std::vector<std::string>& texts) {
    py::list list;
    for (const std::string& text : texts) list.append(shown(text));
    return list;
}

}  // namespace Kavelin::Python
