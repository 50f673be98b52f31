#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Core/Names.h>
#include <Kavelin/Core/Source.h>
#include <fmt/format.h>
#include <pybind11/stl.h>

#include <filesystem>
#include <sstream>

#include "cli/Description.h"
#include "cli/layout/NearestNames.h"
#include "cli/layout/PropertyAccess.h"
#include "python/Bindings.h"
#include "python/Errors.h"
#include "python/FilterDriver.h"
#include "python/Held.h"
#include "python/Plugins.h"
#include "python/RunInterruptibly.h"
#include "python/SampleStack.h"
#include "python/Tables.h"
#include "python/Turn.h"
#include "python/Unlocked.h"
#include "python/Values.h"
#include "python/Warnings.h"

namespace Kavelin::Python {

namespace py = pybind11;

namespace {

using Kind = Refusal::Kind;

Kind kindOfRefusal(const Core::AbstractProperty& property, const Cli::PropertyValue& value,
                   const std::exception& error) {
    if (!property.isWritable()) return Kind::kReadOnly;
    std::error_code unknown;
    const bool namesMissing =
        property.describe().kind == "file name" && !std::filesystem::exists(value.text, unknown);
    return namesMissing ? Kind::kMissingFile : kindOf(error);
}

/// For fewer samples the interpreter's lock is kept: to get it back from a busy thread takes longer than they do.
constexpr std::uint64_t kMostQuick = 64;

/// One time stamp, not several.
bool isNumber(py::handle t) {
    if (PyFloat_Check(t.ptr()) || !py::hasattr(t, "__len__")) return true;
    return py::isinstance<py::array>(t) && py::reinterpret_borrow<py::array>(t).ndim() == 0;
}

/// A filter as Python holds it: used by one thread at a time.
class PyFilter {
public:
    PyFilter(const Text& type, const Text& name, const std::vector<Text>& plugins) {
        usePlugins({plugins.begin(), plugins.end()});
        driver_ = std::make_unique<FilterDriver>(type, name);
    }

    std::string name();
    std::string describe();
    std::string shown();
    py::object get(const Text& name);
    void set(const Text& name, const py::object& value);
    void command(const Text& name);
    void push(const Text& pin, const py::object& t, const py::object& value);
    void process();
    py::object pop(const Text& pin);
    py::object popAll(const Text& pin);
    py::tuple run(const py::object& t, const py::dict& inputs,
                  const std::optional<std::vector<Text>>& outputs, bool stopOnError);

private:
    Core::Filter& filter() { return driver_->filter(); }
    Core::AbstractProperty& property(const std::string& name);
    Core::AbstractInputPin& input(const std::string& pin);
    void requireOutput(const std::string& pin);
    [[noreturn]] void refuseName(const char* what, const std::string& name,
                                 const std::vector<std::string>& existing);
    void warnOfDrops(SampleLog& log);

    std::unique_ptr<FilterDriver> driver_;
    Turns turns_{"the filter"};
};

void PyFilter::refuseName(const char* what, const std::string& name,
                          const std::vector<std::string>& existing) {
    throw Refusal(Kind::kUnknownName, filter().getName() + ": " + Cli::noSuch(what, name, existing));
}

Core::AbstractProperty& PyFilter::property(const std::string& name) {
    Core::AbstractProperty* found = filter().getPropertyBag().find(name);
    if (found == nullptr) refuseName("property", name, Cli::propertyNames(filter(), false));
    if (!found->hasValue())
        throw Refusal(Kind::kWrongType,
                      fmt::format("{}: \"{}\" is a command and has no value; command(\"{}\") activates it",
                                  filter().getName(), name, name));
    return *found;
}

Core::AbstractInputPin& PyFilter::input(const std::string& pin) {
    try {
        return driver_->input(pin);
    } catch (const Poco::NotFoundException&) {
        refuseName("input", pin, Core::namesOf(filter().getInputPins()));
    }
}

void PyFilter::requireOutput(const std::string& pin) {
    if (filter().findOutputPin(pin) == nullptr)
        refuseName("output", pin, Core::namesOf(filter().getOutputPins()));
}

std::string PyFilter::name() { return filter().getName(); }

std::string PyFilter::describe() {
    const Turn turn(turns_);
    return Cli::describeFilter(filter()).dump(-1, ' ', true,
                                              nlohmann::ordered_json::error_handler_t::replace);
}

std::string PyFilter::shown() {
    const Turn turn(turns_);
    std::ostringstream text;
    Cli::printType(text, Cli::describeFilter(filter()));
    return text.str();
}

py::object PyFilter::get(const Text& name) {
    const Turn turn(turns_);
    return presentOf(property(name));
}

void PyFilter::set(const Text& name, const py::object& object) {
    const Turn turn(turns_);
    Core::AbstractProperty& its = property(name);
    const std::string subject = fmt::format("{}, \"{}\"", filter().getName(), name.bytes);
    const Cli::PropertyValue value = valueOf(object, subject, &its);
    try {
        Cli::writeProperty(its, value, {});
    } catch (const std::exception& error) {
        throw Refusal(kindOfRefusal(its, value, error), subject + ": " + Cli::refusalText(its, value, error));
    }
}

void PyFilter::command(const Text& name) {
    const Turn turn(turns_);
    auto* command = dynamic_cast<Core::CommandProperty*>(filter().getPropertyBag().find(name));
    if (command == nullptr) refuseName("command", name, Cli::propertyNames(filter(), true));
    driver_->forgetTimes();
    command->activate();
}

void PyFilter::push(const Text& pin, const py::object& t, const py::object& value) {
    const Turn turn(turns_);
    const Core::AbstractInputPin& its = input(pin);
    const std::uint64_t dropped = its.getCounts().dropped;
    if (isNumber(t)) {
        const double stamp = stampOf(t);
        const SampleStack sample = sampleOf(value, pin, its.content());
        driver_->push({pin, &stamp, sample.data(), 1, sample.shape});
    } else {
        const Doubles stamps = stampsOf(t);
        const auto count = static_cast<std::size_t>(stamps.size());
        const SampleStack samples = samplesOf(value, pin, its.content(), count);
        driver_->push({pin, stamps.data(), samples.data(), count, samples.shape});
    }
    if (its.getCounts().dropped > dropped)
        warnOf(fmt::format(
            "{}: its queue of {} is full, the oldest sample was dropped; call process() after each push",
            its.fullName(), its.getBufferSize()));
}

void PyFilter::process() {
    const Turn turn(turns_);
    const auto work = [this] { driver_->process(); };
    auto* source = dynamic_cast<Core::Source*>(&filter());
    if (source != nullptr) return callInterruptibly(work, [source] { source->interrupt(); });
    std::optional<Unlocked> unlocked;
    if (driver_->getWaiting() > kMostQuick) unlocked.emplace();
    work();
}

void PyFilter::warnOfDrops(SampleLog& log) {
    if (const std::uint64_t dropped = log.takeDropped(); dropped > 0)
        warnOf(fmt::format(
            "{}:{}: {} samples were dropped before this one; pop() takes them after each process()", name(),
            log.getName(), dropped));
}

py::object PyFilter::pop(const Text& pin) {
    const Turn turn(turns_);
    requireOutput(pin);
    SampleLog& log = driver_->log(pin);
    warnOfDrops(log);
    if (log.queue().empty()) return py::none();
    const SampleLog::Sample sample = std::move(log.queue().front());
    log.queue().pop_front();
    return py::make_tuple(sample.timeStamp, arrayOf(sample.value));
}

py::object PyFilter::popAll(const Text& pin) {
    const Turn turn(turns_);
    requireOutput(pin);
    SampleLog& log = driver_->log(pin);
    warnOfDrops(log);
    SampleTable table{.stamps = {}, .elements = {}, .shape = filter().getOutputPin(pin).content().shape};
    for (const SampleLog::Sample& sample : log.queue())
        table.add(sample.timeStamp, sample.value, log.queue().size());
    log.queue().clear();
    return toPython(std::move(table));
}

/// Arrays that a run reads, and the arguments that hold them.
struct RunInputs {
    std::vector<SampleStack> samples;
    std::vector<Doubles> stamps;
    std::vector<Stream> streams;
};

py::tuple PyFilter::run(const py::object& t, const py::dict& inputs,
                        const std::optional<std::vector<Text>>& outputs, bool stopOnError) {
    const Turn turn(turns_);
    RunInputs given;
    const Doubles common = t.is_none() ? Doubles() : stampsOf(t);
    for (const auto& [key, value] : inputs) {
        const std::string pin = textOf(key, "inputs");
        const bool hasOwn = py::isinstance<py::tuple>(value) && py::len(value) == 2;
        const py::tuple own = hasOwn ? py::reinterpret_borrow<py::tuple>(value) : py::tuple();
        if (!hasOwn && t.is_none())
            throw Refusal(Kind::kInvalidValue,
                          pin + ": no time stamps; give t, or (t, samples) for this pin");
        const Doubles& stamps = given.stamps.emplace_back(hasOwn ? stampsOf(own[0], pin + ", t") : common);
        const auto count = static_cast<std::size_t>(stamps.size());
        const py::object samples = hasOwn ? py::object(own[1]) : py::reinterpret_borrow<py::object>(value);
        const SampleStack& stack =
            given.samples.emplace_back(samplesOf(samples, pin, input(pin).content(), count));
        given.streams.push_back({pin, stamps.data(), stack.data(), count, stack.shape});
    }
    const std::vector<std::string> all = Core::namesOf(filter().getOutputPins());
    FilterDriver::RunOptions options{
        .outputs = outputs ? std::vector<std::string>(outputs->begin(), outputs->end()) : all,
        .stopOnError = stopOnError,
        .look = {}};
    for (const std::string& pin : options.outputs) requireOutput(pin);
    FilterRunReport report = [&] {
        Unlocked unlocked;
        options.look = [&unlocked] { unlocked.lookForSignals(); };
        return driver_->run(given.streams, options);
    }();
    py::dict results;
    for (const std::string& pin : options.outputs)
        if (auto table = report.outputs.extract(pin))
            results[toPython(pin)] = toPython(std::move(table.mapped()));
    return py::make_tuple(results, toPython(report.errors), toPython(report.notes));
}

}  // namespace

void bindFilter(py::module_& module) {
    py::class_<PyFilter, std::shared_ptr<PyFilter>>(module, "FilterCore",
                                                    "The compiled part of kavelin.Filter.")
        .def(py::init<const Text&, const Text&, const std::vector<Text>&>(), py::arg("type"), py::arg("name"),
             py::arg("plugins"))
        .def_property_readonly("name", held(&PyFilter::name))
        .def("describe", held(&PyFilter::describe))
        .def("__str__", held(&PyFilter::shown))
        .def("get", held(&PyFilter::get), py::arg("name"))
        .def("set", held(&PyFilter::set), py::arg("name"), py::arg("value"))
        .def("command", held(&PyFilter::command), py::arg("name"))
        .def("push", held(&PyFilter::push), py::arg("pin"), py::arg("t"), py::arg("value"))
        .def("process", held(&PyFilter::process))
        .def("pop", held(&PyFilter::pop), py::arg("pin"))
        .def("pop_all", held(&PyFilter::popAll), py::arg("pin"))
        .def("run", held(&PyFilter::run), py::arg("t"), py::arg("inputs"), py::arg("outputs"),
             py::arg("stop_on_error"));
}

}  // namespace Kavelin::Python
