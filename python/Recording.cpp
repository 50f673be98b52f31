#include "python/Recording.h"

#include <Poco/Exception.h>
#include <fmt/format.h>
#include <pybind11/stl.h>

#include <atomic>
#include <mutex>

#include "cli/Interruption.h"
#include "cli/layout/NearestNames.h"
#include "io/SimulatedTable.h"
#include "io/formats/OpenRecording.h"
#include "io/recording/Text.h"
#include "python/Bindings.h"
#include "python/Errors.h"
#include "python/Options.h"
#include "python/RunInterruptibly.h"
#include "python/Views.h"

namespace Kavelin::Python {

namespace py = pybind11;
using RecordingIO::ArrayReader;
using RecordingIO::ArrayView;
using RecordingIO::Channel;
using RecordingIO::OpenOptions;
using RecordingIO::RowReader;
using RecordingIO::StoredRecording;

namespace {

/// Ends reading when it is asked to, also where it waits for bytes.
class Reading {
public:
    std::shared_ptr<const StoredRecording> store(
        const std::function<std::unique_ptr<RowReader>(const std::function<void(std::function<void()>)>&)>&
            open) {
        std::unique_ptr<RowReader> reader;  // outlives what may close it
        const Cli::Interruption interruption([this] { end(); });
        const auto announce = [this](std::function<void()> stop) {
            const std::lock_guard lock(mutex_);
            stop_ = std::move(stop);
        };
        reader = open(announce);
        announce([&reader] { reader->close(); });
        return std::make_shared<const StoredRecording>(*reader, [] { return !Cli::Interruption::hasCome(); });
    }

private:
    void end() {
        const std::lock_guard lock(mutex_);
        if (stop_) stop_();
    }

    std::mutex mutex_;
    std::function<void()> stop_;
};

Recording read(const Text& file, const Arguments& arguments) {
    const std::string& path = file.bytes;
    Recording recording{
        .stored = {}, .choice = recordingOptions(arguments), .name = path, .isUp = false, .sensors = {}};
    runInterruptibly([&] {
        readingFile(path, [&] {
            const OpenOptions options = readerOptions(recording.choice);
            recording.stored = Reading().store(
                [&](const auto& announce) { return RecordingIO::openRecording(path, options, announce); });
            recording.sensors = RecordingIO::sensorsOf(path, Cli::openOptions(recording.choice));
        });
    });
    return recording;
}

/// Names as the options take them.
py::list namesOf(const std::vector<std::string>& names) {
    py::list list;
    for (const std::string& name : names) list.append(toPython(name));
    return list;
}

py::list sensorsOf(const Text& file, const Arguments& arguments) {
    const std::string& path = file.bytes;
    const Cli::RecordingChoice choice = recordingOptions(arguments);
    return namesOf(resultOfInterruptible([&] {
        return readingFile(path, [&] { return RecordingIO::sensorsOf(path, Cli::openOptions(choice)); });
    }));
}

Recording ofArrays(const SampleArrays& arrays, const Arguments& arguments, const Text& called) {
    const std::string& name = called.bytes;
    Recording recording{
        .stored = {}, .choice = recordingOptions(arguments), .name = name, .isUp = true, .sensors = {}};
    runInterruptibly([&] {
        recording.stored = Reading().store(
            [&](const auto&) { return openerOf(name, arrays.table())(readerOptions(recording.choice)); });
    });
    return recording;
}

Recording simulate(const Arguments& arguments) {
    const Cli::SimulateOptions options = simulateOptions(arguments);
    Recording recording{.stored = {}, .choice = {}, .name = "simulation", .isUp = true, .sensors = {}};
    runInterruptibly([&] {
        const RecordingIO::ArrayTable table = RecordingIO::simulate(
            options.simulation, !options.withoutTruth, [] { return Cli::Interruption::hasCome(); });
        const auto reader = openerOf(recording.name, ArrayView::of(table))({});
        recording.stored = std::make_shared<const StoredRecording>(*reader);
    });
    return recording;
}

// What Python sees of it

py::array times(const py::object& self) {
    const StoredRecording& stored = *self.cast<const Recording&>().stored;
    return shown(stored.times(), {static_cast<py::ssize_t>(stored.rows())}, self);
}

py::list pins(const Recording& recording) {
    py::list names;
    for (const Channel& channel : recording.stored->schema().channels) names.append(toPython(channel.pin));
    return names;
}

py::tuple samples(const py::object& self, const Text& name) {
    const std::string& pin = name.bytes;
    const StoredRecording& stored = *self.cast<const Recording&>().stored;
    const std::vector<Channel>& channels = stored.schema().channels;
    const auto found = std::ranges::find(channels, pin, &Channel::pin);
    if (found == channels.end()) {
        std::vector<std::string> names;
        for (const Channel& channel : channels) names.push_back(channel.pin);
        throw Refusal(Refusal::Kind::kUnknownName, Cli::noSuch("pin", pin, names));
    }
    const StoredRecording::Samples& own = stored.samples(static_cast<std::size_t>(found - channels.begin()));
    const auto count = static_cast<py::ssize_t>(own.values.size() / found->size());
    std::vector<py::ssize_t> shape{count};
    if (found->rows > 1) shape.push_back(static_cast<py::ssize_t>(found->rows));
    if (found->size() > 1) shape.push_back(static_cast<py::ssize_t>(found->cols));
    const bool isEachRow = static_cast<std::size_t>(count) == stored.rows();
    return py::make_tuple(shown(isEachRow ? stored.times() : own.times, {count}, self),
                          shown(own.values, shape, self));
}

py::dict leftOut(const Recording& recording) {
    py::dict counts;
    for (std::size_t i = 0; i < RecordingIO::kFaultCount; ++i) {
        const auto fault = static_cast<RecordingIO::Fault>(i);
        const std::uint64_t count = recording.stored->faults().of(fault);
        if (count > 0) counts[py::str(std::string(RecordingIO::faultName(fault)))] = count;
    }
    return counts;
}

py::list faults(const Recording& recording) {
    py::list messages;
    for (const StoredRecording::LeftOut& row : recording.stored->leftOut())
        if (!row.message.empty()) messages.append(shown(row.message));
    return messages;
}

std::string describe(const Recording& recording) {
    const StoredRecording& stored = *recording.stored;
    const RecordingIO::RecordingStatistics& statistics = stored.statistics();
    std::vector<std::string> rates;
    for (const auto& channel : statistics.channels())
        rates.push_back(fmt::format("{} {:.4g} Hz", channel.pin, channel.rate()));
    std::string out =
        fmt::format("<kavelin.Recording {}: {} in {:.4g} s ({})", recording.name,
                    RecordingIO::counted(stored.rows(), "row"), statistics.seconds(), fmt::join(rates, ", "));
    if (!stored.schema().decisions.empty())
        out += fmt::format("\n  read as: {}", fmt::join(stored.schema().decisions, ", "));
    if (recording.sensors.size() > 1)
        out += fmt::format("\n  sensors: {}", fmt::join(recording.sensors, ", "));
    if (const auto count = stored.faults().total(); count > 0)
        out += fmt::format("\n  {} left out", RecordingIO::counted(count, "row"));
    if (const auto count = statistics.lost(); count > 0)
        out += fmt::format("\n  {} lost", RecordingIO::counted(count, "packet"));
    for (const std::string& note : statistics.warnings(stored.schema())) out += "\n  note: " + note;
    for (const std::string& error : statistics.errors(stored.schema())) out += "\n  wrong: " + error;
    return out + ">";
}

bool isSame(const OpenOptions& a, const OpenOptions& b) {
    return a.format == b.format && a.sensor == b.sensor && a.mapping == b.mapping && a.units == b.units &&
           a.rate == b.rate && a.axes == b.axes && a.dialect == b.dialect;
}

}  // namespace

SampleArrays::SampleArrays(py::handle t, py::handle acc, py::handle gyr, py::handle mag, py::handle quat) {
    add(t, "t", {"t"}, "s");
    add(acc, "acc", {"ax", "ay", "az"}, "m/s^2");
    add(gyr, "gyr", {"gx", "gy", "gz"}, "rad/s");
    add(mag, "mag", {"mx", "my", "mz"}, "uT");
    add(quat, "quat", {"qw", "qx", "qy", "qz"}, "");
    if (header_.size() == (t.is_none() ? 0U : 1U))
        throw Refusal(Refusal::Kind::kInvalidValue,
                      "there are no samples: acc, gyr, mag, quat: one at least is expected");
    table_.form = RecordingIO::formOfHeader(fmt::format("{}", fmt::join(header_, ",")));
}

void SampleArrays::add(py::handle argument, const char* name, const std::vector<std::string>& columns,
                       const char* unit) {
    if (argument.is_none()) return;
    const Doubles array = doublesOf(argument, name);
    const auto width = static_cast<py::ssize_t>(columns.size());
    const bool isVector = width > 1;
    if (array.ndim() != (isVector ? 2 : 1) || (isVector && array.shape(1) != width))
        refuseShape(name, array, isVector ? fmt::format("n x {}", width) : "n", unit);
    const auto rows = static_cast<std::size_t>(array.shape(0));
    if (kept_.empty()) {
        table_.rows = rows;
        counted_ = name;
    } else if (rows != table_.rows) {
        throw Refusal(
            Refusal::Kind::kInvalidValue,
            fmt::format("{}: {}; {} has {}", name, RecordingIO::counted(rows, "row"), counted_, table_.rows));
    }
    for (py::ssize_t i = 0; i < width; ++i) table_.columns.push_back({array.data() + i, width});
    header_.insert(header_.end(), columns.begin(), columns.end());
    kept_.push_back(array);
}

RecordingIO::RecordingOpener openerOf(const std::string& name, const ArrayView& table) {
    return [name, table](const OpenOptions& options) {
        ArrayView settled = table;
        try {
            chooseTime(settled, options);
        } catch (const Poco::DataFormatException& refusal) {
            throw Poco::DataFormatException(name + ": " + refusal.message());
        }
        return std::make_unique<ArrayReader>(name, std::move(settled), options);
    };
}

RecordingIO::RecordingOpener Recording::opener() const {
    return [stored = stored, own = readerOptions(choice)](const OpenOptions& options) {
        if (!isSame(options, own))
            throw Poco::InvalidArgumentException(stored->name() +
                                                 ": the recording is in memory; sensor, format, dialect, "
                                                 "axes, map, units and rate are given when it is "
                                                 "read");
        return std::make_unique<RecordingIO::StoredReader>(stored, options);
    };
}

void bindRecording(py::module_& module) {
    py::class_<SampleArrays>(module, "SampleArrays")
        .def(py::init<py::handle, py::handle, py::handle, py::handle, py::handle>());
    py::class_<Recording>(module, "Recording")
        .def_property_readonly("name", [](const Recording& self) { return toPython(self.name); })
        .def_property_readonly("sensors", [](const Recording& self) { return namesOf(self.sensors); })
        .def_property_readonly("sensor", [](const Recording& self) { return toPython(self.choice.sensor); })
        .def_property_readonly("rows", [](const Recording& self) { return self.stored->rows(); })
        .def_property_readonly("t", &times)
        .def_property_readonly("pins", &pins)
        .def_property_readonly("read_as",
                               [](const Recording& self) { return shown(self.stored->schema().decisions); })
        .def_property_readonly("notes",
                               [](const Recording& self) {
                                   return shown(self.stored->statistics().warnings(self.stored->schema()));
                               })
        .def_property_readonly("errors",
                               [](const Recording& self) {
                                   return shown(self.stored->statistics().errors(self.stored->schema()));
                               })
        .def_property_readonly("left_out", &leftOut)
        .def_property_readonly("faults", &faults)
        .def_property_readonly("lost", [](const Recording& self) { return self.stored->statistics().lost(); })
        .def("samples", &samples)
        .def("__repr__", [](const Recording& self) { return shown(describe(self)); });
    module.def("recording_of", &ofArrays);
    module.def("read", &read);
    module.def("sensors", &sensorsOf);
    module.def("simulate", &simulate);
}

}  // namespace Kavelin::Python
