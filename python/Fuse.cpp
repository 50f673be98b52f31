#include <fmt/format.h>
#include <fmt/ranges.h>
#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cmath>
#include <limits>

#include "attitude/rotation/AngleConstants.h"
#include "cli/CommandContext.h"
#include "cli/fuse/Estimator.h"
#include "cli/fuse/FuseArguments.h"
#include "io/AttitudeFrame.h"
#include "io/formats/ReferenceTrack.h"
#include "python/Bindings.h"
#include "python/Errors.h"
#include "python/FusedResult.h"
#include "python/Options.h"
#include "python/Plugins.h"
#include "python/Recording.h"
#include "python/RunInterruptibly.h"
#include "python/Values.h"
#include "python/Views.h"

namespace Kavelin::Python {

namespace py = pybind11;
using OrientationInternal::kRadiansToDegrees;

namespace {

py::ssize_t signedSize(std::size_t size) { return static_cast<py::ssize_t>(size); }

std::function<std::unique_ptr<RecordingIO::RowReader>()> referenceOf(const Recording* reference) {
    if (reference == nullptr) return {};
    return [stored = reference->stored] {
        return std::make_unique<RecordingIO::StoredReader>(stored, RecordingIO::ReaderOptions{});
    };
}

FusedResult run(Cli::FuseOptions options, const Recording* reference) {
    usePlugins(options.plugins);
    if (options.type.empty()) options.type = Cli::defaultEstimator();
    if (reference != nullptr) {
        options.memory.reference = referenceOf(reference);
        options.memory.isReferenceUp = reference->isUp;
        options.reference = reference->name;
        const Cli::Estimator estimator = Cli::describeEstimator(options.type);
        const auto alignment = RecordingIO::alignmentOf(estimator.frame);
        if (reference->estimate && alignment && options.alignment == "auto")
            requireComparable(*reference->estimate, estimator.frame, *alignment);
    }
    return resultOfInterruptible([&] {
        return options.memory.recording ? fuse(options)
                                        : readingFile(options.recording, [&] { return fuse(options); });
    });
}

FusedResult fuseFile(const Text& path, const Arguments& arguments, const Recording* reference) {
    Cli::FuseOptions options = fuseOptions(arguments);
    options.recording = path.bytes;
    return run(std::move(options), reference);
}

FusedResult fuseRecording(const Recording& recording, const Arguments& arguments,
                          const Recording* reference) {
    Cli::FuseOptions options = fuseOptions(arguments);
    static_cast<Cli::RecordingChoice&>(options) = recording.choice;
    options.recording = recording.name;
    options.memory.recording = recording.opener();
    options.memory.isReferenceUp = recording.isUp && options.reference.empty();
    return run(std::move(options), reference);
}

FusedResult fuseArrays(const SampleArrays& arrays, const Arguments& arguments, const Recording* reference) {
    Cli::FuseOptions options = fuseOptions(arguments);
    options.recording = "arrays";
    options.memory.recording = openerOf(options.recording, arrays.table());
    options.memory.isReferenceUp = options.reference.empty();
    return run(std::move(options), reference);
}

AttitudeComparison compareWith(const FusedResult& result, const std::string& file, const Recording* reference,
                               const std::string& alignment) {
    if (file.empty() && reference == nullptr) {
        if (!result.comparison)
            throw Cli::UsageError("there is no reference: " + result.recording +
                                  " has no quaternion that it was compared with, and no reference is given");
        if (alignment == "auto") return *result.comparison;
        throw Cli::UsageError(
            "align: the errors are those of the run; give align to kavelin.fuse, or a reference here");
    }
    if (reference != nullptr && reference->estimate && result.alignment && alignment == "auto")
        requireComparable(*reference->estimate, result.estimateFrame, *result.alignment);
    const ReferenceChoice choice{file, referenceOf(reference), reference != nullptr && reference->isUp,
                                 alignment};
    return resultOfInterruptible([&] {
        return file.empty()
                   ? compare(result, choice)
                   : readingFile(RecordingIO::fileOfReference(file), [&] { return compare(result, choice); });
    });
}

// What Python sees of it

py::array vectors(const std::vector<double>& values, py::ssize_t width, py::handle owner) {
    return shown(values, {signedSize(values.size()) / width, width}, owner);
}

/// The newest bias at each time; NaN before the first.
py::object biasOf(const FusedResult& result) {
    if (!result.isBiasSent) return py::none();
    const std::vector<double>& times = result.rows.times;
    py::array_t<double> bias({signedSize(times.size()), py::ssize_t{3}});
    double* to = bias.mutable_data();
    std::size_t next = 0;
    for (const double time : times) {
        while (next < result.bias.times.size() && !(result.bias.times[next] > time)) ++next;
        for (std::size_t i = 0; i < 3; ++i)
            *to++ =
                next == 0 ? std::numeric_limits<double>::quiet_NaN() : result.bias.values[3 * (next - 1) + i];
    }
    return bias;
}

bool isFlag(const std::string& name) { return name.starts_with("flag"); }

py::dict flagsOf(const FusedResult& result) {
    py::dict flags;
    for (std::size_t i = 0; i < result.extras.size(); ++i) {
        if (!isFlag(result.extras[i].name)) continue;
        const std::vector<double>& values = result.rows.extras[i].values;
        py::array_t<bool> raised(signedSize(values.size()));
        bool* to = raised.mutable_data();
        for (const double value : values) *to++ = value != 0.0 && !std::isnan(value);
        flags[shown(result.extras[i].name)] = raised;
    }
    return flags;
}

py::dict qualityOf(const py::object& self) {
    const auto& result = self.cast<const FusedResult&>();
    py::dict quality;
    for (std::size_t i = 0; i < result.extras.size(); ++i) {
        const std::string& name = result.extras[i].name;
        if (isFlag(name) || name == "Score") continue;
        const std::vector<double>& values = result.rows.extras[i].values;
        quality[shown(name)] = shown(values, {signedSize(values.size())}, self);
    }
    return quality;
}

py::object scoresOf(const py::object& self) {
    const auto& result = self.cast<const FusedResult&>();
    for (std::size_t i = 0; i < result.extras.size(); ++i)
        if (result.extras[i].name == "Score")
            return shown(result.rows.extras[i].values, {signedSize(result.rows.times.size()), 5, 2}, self);
    return py::none();
}

py::dict settingsOf(const FusedResult& result) {
    py::dict settings;
    for (const Setting& setting : result.settings)
        settings[shown(setting.name)] = presentOf(setting.value, setting.kind);
    return settings;
}

py::object verdictsOf(const FusedResult& result) {
    if (!result.verdicts) return py::none();
    return py::make_tuple(shown(result.verdicts->first), shown(result.verdicts->second));
}

py::array_t<double> fresh(std::vector<double>&& values, std::vector<py::ssize_t> shape) {
    return arrayOf(std::move(values), shape);
}

py::array eulerOf(const FusedResult& result, bool degrees) {
    return fresh(eulerAngles(result, degrees ? kRadiansToDegrees : 1.0),
                 {signedSize(result.rows.times.size()), 3});
}

py::array rotationOf(const FusedResult& result) {
    return fresh(rotations(result), {signedSize(result.rows.times.size()), 3, 3});
}

/// (t, n x 3 degrees, RMS of the three, pairs, turn, how it was aligned, notes, whether the reference is taken in the
/// frame of the result)
py::tuple toPython(AttitudeComparison comparison) {
    if (!comparison.whyNone.empty())
        throw Cli::UsageError(fmt::format("{}{}{}", comparison.whyNone, comparison.notes.empty() ? "" : "; ",
                                          fmt::join(comparison.notes, "; ")));
    const auto count = signedSize(comparison.errors.times.size());
    for (double& value : comparison.errors.values) value *= kRadiansToDegrees;
    const RecordingIO::ErrorFigures& figures = comparison.figures;
    py::list notes;
    for (const std::string& note : comparison.notes) notes.append(shown(note));
    return py::make_tuple(fresh(std::move(comparison.errors.times), {count}),
                          fresh(std::move(comparison.errors.values), {count, 3}),
                          py::make_tuple(figures.total, figures.heading, figures.inclination), figures.count,
                          comparison.turn * kRadiansToDegrees, comparison.aligned, notes,
                          comparison.isReferenceInFrame);
}

std::vector<std::string> writeTable(const FusedResult& result, const Text& path, const std::string& form,
                                    const std::string& format) {
    const auto forms = {
        std::pair<std::string, Cli::AttitudeForm>{"quaternion", Cli::AttitudeForm::kQuaternion},
        {"matrix", Cli::AttitudeForm::kMatrix},
        {"euler", Cli::AttitudeForm::kEuler}};
    for (const auto& [name, value] : forms) {
        if (name != form) continue;
        const auto chosen = value;
        return resultOfInterruptible([&] { return write(result, path.bytes, chosen, format); });
    }
    throw Cli::UsageError("form: '" + form + "'; quaternion, matrix or euler is expected");
}

}  // namespace

void bindFuse(py::module_& module) {
    using Self = const FusedResult&;
    py::class_<FusedResult>(module, "FusedResult")
        .def_readonly("type", &FusedResult::type)
        .def_readonly("frame", &FusedResult::frame)
        .def_readonly("status", &FusedResult::status)
        .def_property_readonly("recording", [](Self self) { return shown(self.recording); })
        .def_property_readonly("messages", [](Self self) { return shown(self.messages); })
        .def_property_readonly("text", [](Self self) { return shown(self.text); })
        .def_property_readonly("summary", [](Self self) { return shown(self.summary); })
        .def_property_readonly("settings", &settingsOf)
        .def_property_readonly("verdicts", &verdictsOf)
        .def_property_readonly("times",
                               [](const py::object& self) {
                                   const auto& times = self.cast<Self>().rows.times;
                                   return shown(times, {signedSize(times.size())}, self);
                               })
        .def_property_readonly(
            "quaternions",
            [](const py::object& self) { return vectors(self.cast<Self>().rows.quaternions, 4, self); })
        .def_property_readonly("bias", &biasOf)
        .def_property_readonly("flags", &flagsOf)
        .def_property_readonly("quality", &qualityOf)
        .def_property_readonly("scores", &scoresOf)
        .def("euler", &eulerOf)
        .def("rotation", &rotationOf)
        .def("compare",
             [](Self self, const Text& file, const Recording* reference, const std::string& alignment) {
                 return toPython(compareWith(self, file.bytes, reference, alignment));
             })
        .def("write", &writeTable);
    module.def("attitudes", [](Self result) {
        return Recording{.stored = referenceOf(result),
                         .choice = {},
                         .name = "result",
                         .isUp = true,
                         .sensors = {},
                         .estimate = ReferenceFrame{result.type, result.estimateFrame}};
    });
    module.def("default_estimator", &Cli::defaultEstimator);
    module.def("fuse", &fuseRecording);
    module.def("fuse", &fuseArrays);
    module.def("fuse_file", &fuseFile);
}

}  // namespace Kavelin::Python
