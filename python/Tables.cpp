#include "python/Tables.h"

#include "python/Arrays.h"

namespace Kavelin::Python {

namespace py = pybind11;

namespace {

std::vector<py::ssize_t> axesOf(Core::PinShape shape) {
    if (shape.rows == 1 && shape.cols == 1) return {};
    if (shape.rows == 1) return {shape.cols};
    if (shape.cols == 1) return {shape.rows};
    return {shape.rows, shape.cols};
}

py::object unlikeArrays(const std::vector<Core::Matrix>& samples) {
    const py::object array =
        py::module_::import("numpy").attr("empty")(samples.size(), py::arg("dtype") = "object");
    for (std::size_t i = 0; i < samples.size(); ++i) array[py::int_(i)] = arrayOf(samples[i]);
    return array;
}

}  // namespace

py::object arrayOf(const Core::Matrix& sample) {
    return py::array_t<double>(axesOf(Core::shapeOf(sample)), sample.data());
}

py::tuple toPython(SampleTable&& table) {
    const auto count = static_cast<py::ssize_t>(table.stamps.size());
    const Doubles stamps = arrayOf(std::move(table.stamps), {count});
    if (!table.unlike.empty()) return py::make_tuple(stamps, unlikeArrays(table.unlike));
    std::vector<py::ssize_t> shape = axesOf(table.shape);
    shape.insert(shape.begin(), count);
    return py::make_tuple(stamps, arrayOf(std::move(table.elements), shape));
}

py::list toPython(const std::vector<std::string>& texts) {
    py::list list;
    for (const std::string& text : texts) {
        PyObject* decoded =
            PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace");
        if (decoded == nullptr) throw py::error_already_set();
        list.append(py::reinterpret_steal<py::str>(decoded));
    }
    return list;
}

}  // namespace Kavelin::Python
