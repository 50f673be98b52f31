#include <pybind11/stl.h>

#include "cli/layout/LayoutWriter.h"
#include "python/Bindings.h"
#include "python/Errors.h"
#include "python/LayoutJob.h"
#include "python/Plugins.h"
#include "python/RunInterruptibly.h"
#include "python/Tables.h"
#include "python/Values.h"

namespace Kavelin::Python {

namespace py = pybind11;

namespace {

using Held = std::shared_ptr<LayoutJob>;

LayoutJob fromFile(const py::object& path) {
    usePlugins();
    return LayoutJob::fromFile(textOf(path, "layout"));
}

LayoutJob fromText(const Text& text, const Text& name) {
    usePlugins();
    return LayoutJob::fromText(text, name);
}

/// The run has a copy: the object may be changed meanwhile.
py::tuple run(const Held& job, const std::vector<Text>& targets, bool threads, bool stopOnError) {
    const std::vector<std::string> probes(targets.begin(), targets.end());
    for (const std::string& probe : probes) job->requireTarget(probe);
    LayoutRunReport report =
        resultOfInterruptible([copy = *job, options = LayoutJob::RunOptions{probes, threads, stopOnError}] {
            return copy.run(options);
        });
    py::dict results;
    for (const std::string& probe : probes)
        if (auto table = report.probes.extract(probe))
            results[toPython(probe)] = toPython(std::move(table.mapped()));
    return py::make_tuple(results, toPython(report.errors), toPython(report.notes), report.status);
}

py::list check(const Held& job) {
    return toPython(resultOfInterruptible([copy = *job] { return copy.check(); }));
}

void set(const Held& job, const Text& target, const py::object& value) {
    job->set(target, valueOf(value, target, nullptr));
}

void setVariable(const Held& job, const Text& variable, const py::object& value) {
    job->setVariable(variable, textOf(value, "variables[\"" + variable.bytes + "\"]"));
}

py::str text(const Held& job) { return toPython(Cli::writeLayout(job->file())); }

}  // namespace

void bindLayout(py::module_& module) {
    py::class_<LayoutJob, std::shared_ptr<LayoutJob>>(module, "LayoutCore",
                                                      "The compiled part of kavelin.Layout.")
        .def_static("from_file", &fromFile, py::arg("path"))
        .def_static("from_text", &fromText, py::arg("text"), py::arg("name"))
        .def("set_variable", &setVariable, py::arg("variable"), py::arg("value"))
        .def("set", &set, py::arg("target"), py::arg("value"))
        .def(
            "command", [](const Held& job, const Text& target) { job->command(target); }, py::arg("target"))
        .def(
            "require_target", [](const Held& job, const Text& target) { job->requireTarget(target); },
            py::arg("target"))
        .def("run", &run, py::arg("probes"), py::arg("threads"), py::arg("stop_on_error"))
        .def("check", &check)
        .def("text", &text);
}

}  // namespace Kavelin::Python
