#include "cli/ScriptRunner.h"

#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Core/ErrorLog.h>
#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/Names.h>
#include <Kavelin/Typed/InputPin.h>
#include <Kavelin/Typed/OutputPin.h>
#include <Poco/Exception.h>
#include <cxxabi.h>
#include <fmt/format.h>

#include <algorithm>
#include <istream>
#include <ostream>

#include "cli/CommandContext.h"
#include "cli/layout/PropertyAccess.h"

namespace Kavelin::Cli {

using Core::Matrix;

/// Sends the script's samples to one input pin. The direct flag is off, so that buffers keep copies.
class ScriptRunner::Feeder {
public:
    explicit Feeder(Core::AbstractInputPin& input) : input_(input), output_(input.getName(), nullptr) {
        output_.attachInput(input_, false);
    }

    const std::string& pin() const { return input_.getName(); }
    void send(double t, const Matrix& value) {
        output_.value() = value;
        output_.send(t);
    }
    void setBuffer(unsigned size, bool lastInFirstOut) {
        const Core::Synchronizer::DisablerLocker locker(input_.getSynchronizer(), nullptr);
        input_.setBufferAttributes(size, lastInFirstOut, false);
        input_.rebuildBuffer();
    }

private:
    Core::AbstractInputPin& input_;
    Core::OutputPin<Matrix> output_;
};

/// Writes what one output pin sends, while it is being sent.
class ScriptRunner::Collector : public Core::InputPin<Matrix> {
public:
    Collector(Core::AbstractOutputPin& output, std::ostream& out)
        : Pin(output.getName(), nullptr), Core::InputPin<Matrix>(output.getName(), nullptr), out_(out) {
        output.attachInput(*this, false);
    }

    void receive(const Core::TimeStampedData<Matrix>& sample) override {
        out_ << sampleText(getName(), sample.timeStamp, sample.value);
    }

private:
    std::ostream& out_;
};

namespace {

std::string existing(const std::vector<std::string>& names) {
    return names.empty() ? "; it has none" : fmt::format("; it has \"{}\"", fmt::join(names, "\", \""));
}

}  // namespace

ScriptRunner::ScriptRunner(Core::Filter& filter, std::ostream& out) : filter_(filter), out_(out) {
    for (Core::AbstractInputPin* input : filter.getInputPins())
        feeders_.push_back(std::make_unique<Feeder>(*input));
    for (Core::AbstractOutputPin* output : filter.getOutputPins())
        collectors_.push_back(std::make_unique<Collector>(*output, out));
}

ScriptRunner::~ScriptRunner() = default;

void ScriptRunner::run(std::istream& script, const std::string& source) {
    std::string text;
    for (std::size_t number = 1; std::getline(script, text); ++number) {
        try {
            if (const auto line = parseScriptLine(text)) execute(*line);
        } catch (const UsageError& error) {
            throw UsageError(source + ":" + std::to_string(number) + ": " + error.what());
        }
        out_.flush();  // a caller that writes line by line sees each answer at once
    }
    if (script.bad()) throw UsageError(source + " cannot be read to its end");
}

void ScriptRunner::execute(const ScriptLine& line) {
    std::visit([this](const auto& kind) { execute(kind); }, line);
}

void ScriptRunner::execute(const SampleLine& line) { feederOf(line.pin).send(line.t, line.value); }

void ScriptRunner::execute(const BufferLine& line) {
    feederOf(line.pin).setBuffer(line.size, line.lastInFirstOut);
}

void ScriptRunner::execute(const PropertyLine& line) {
    Core::AbstractProperty& property = valueProperty(line.property);
    reportWhatItRaises([&] { property.deSerialize(line.value); });
}

void ScriptRunner::execute(const CommandLine& line) {
    auto* command = dynamic_cast<Core::CommandProperty*>(filter_.getPropertyBag().find(line.command));
    if (command == nullptr)
        throw UsageError(filter_.typeName() + " has no command \"" + line.command + '"' +
                         existing(propertyNames(filter_, true)));
    reportWhatItRaises([&] { command->activate(); });
}

void ScriptRunner::execute(const ProcessLine& line) {
    for (std::uint64_t i = 0; i < line.times; ++i) reportWhatItRaises([&] { filter_.processOnce(); });
}

void ScriptRunner::execute(const QueryLine& line) {
    std::string text;
    valueProperty(line.property).serialize(text);
    out_ << propertyText(line.property, text);
}

ScriptRunner::Feeder& ScriptRunner::feederOf(const std::string& pin) {
    const auto found =
        std::find_if(feeders_.begin(), feeders_.end(), [&](const auto& f) { return f->pin() == pin; });
    if (found != feeders_.end()) return **found;
    try {
        // Lets a filter that makes input pins on demand make this one.
        feeders_.push_back(std::make_unique<Feeder>(filter_.getInputPin(pin)));
    } catch (const Poco::NotFoundException&) {
        throw UsageError(filter_.typeName() + " has no input pin \"" + pin + '"' +
                         existing(Core::namesOf(filter_.getInputPins())));
    }
    return *feeders_.back();
}

Core::AbstractProperty& ScriptRunner::valueProperty(const std::string& name) const {
    Core::AbstractProperty* property = filter_.getPropertyBag().find(name);
    if (property != nullptr && property->hasValue()) return *property;
    if (property != nullptr)
        throw UsageError("\"" + name + "\" is a command: {\"command\": ...} activates it, it has no value");
    throw UsageError(filter_.typeName() + " has no property \"" + name + '"' +
                     existing(propertyNames(filter_, false)));
}

template <class Action>
void ScriptRunner::reportWhatItRaises(Action action) {
    try {
        action();
    } catch (const std::exception& error) {
        out_ << errorText(Core::exceptionType(error), Core::exceptionMessage(error));
    } catch (...) {
        out_ << errorText(Core::className(*abi::__cxa_current_exception_type()), "");
    }
}

}  // namespace Kavelin::Cli
