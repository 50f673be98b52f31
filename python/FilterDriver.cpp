#include "python/FilterDriver.h"

#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Typed/Contents.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <chrono>

#include "cli/PairingText.h"
#include "cli/SettingsFile.h"
#include "cli/layout/PropertyValue.h"
#include "io/RunParticipant.h"
#include "io/recording/Text.h"
#include "python/Errors.h"

namespace Kavelin::Python {

namespace {

using Clock = std::chrono::steady_clock;
using RecordingIO::counted;
using RecordingIO::RunParticipant;

constexpr std::uint64_t kRowsBetweenLooks = 64;  // at the clock
constexpr std::chrono::milliseconds kBetweenCalls{25};

std::uint64_t takenBy(const Core::Filter& filter) {
    std::uint64_t taken = 0;
    for (const Core::AbstractInputPin* pin : filter.getInputPins()) taken += pin->getCounts().taken;
    return taken;
}

bool hasUnread(const Core::Filter& filter) {
    const auto& inputs = filter.getInputPins();
    return std::any_of(inputs.begin(), inputs.end(), [](const auto* pin) { return !pin->isEmpty(); });
}

void useDefaultSettings(Core::Filter& filter) {
    const std::string file = Cli::defaultSettings(filter);
    if (!file.empty()) filter.getPropertyBag().get(Cli::kSettingsProperty).deSerialize(file);
}

}  // namespace

/// Counts that go on from run to run.
struct FilterDriver::Before {
    struct Pin {
        std::uint64_t misfits, dropped;
    };
    std::vector<Core::ProcessError> errors;
    std::uint64_t errorCount;
    std::uint64_t unlike;
    bool wasUnpaired;
    std::map<std::string, std::uint64_t> unpaired;
    std::map<std::string, Pin> pins;

    Before(const Core::Filter& filter, const Core::ErrorLog& log)
        : errors(log.getErrors()), errorCount(log.getCount()) {
        const Core::PairingReport pairing = filter.getPairing();
        unlike = pairing.unlike;
        wasUnpaired = Cli::isMostlyUnpaired(filter, pairing);
        for (const auto& [pin, count] : pairing.unpaired) unpaired[pin] = count;
        for (const Core::AbstractInputPin* pin : filter.getInputPins())
            pins[pin->getName()] = {pin->getMisfits(), pin->getCounts().dropped};
    }
};

/// After a run, however it ends, the filter is as it was before it.
struct FilterDriver::Restoring {
    FilterDriver& driver;
    ~Restoring() {
        driver.source_.unload();
        for (auto& [pin, log] : driver.logs_) log->writeTo(nullptr);
        driver.hearOutputs();
    }
};

FilterDriver::FilterDriver(const std::string& type, const std::string& name)
    : filter_(Core::FlowManager::instance().getPluginManager().createFilter(type, name)) {
    useDefaultSettings(*filter_);
    layout_.add(source_);
    layout_.add(*filter_);
    hearOutputs();
}

FilterDriver::~FilterDriver() = default;

Core::AbstractInputPin& FilterDriver::input(const std::string& pin) {
    Core::AbstractInputPin& its = filter_->getInputPin(pin);
    source_.feed(its);
    hearOutputs();
    return its;
}

SampleLog& FilterDriver::log(const std::string& pin) {
    hearOutputs();
    filter_->getOutputPin(pin);
    return *logs_.at(pin);
}

/// Filters make and drop outputs as their inputs and properties ask for.
void FilterDriver::hearOutputs() {
    for (Core::AbstractOutputPin* output : filter_->getOutputPins()) {
        auto& log = logs_[output->getName()];
        if (log == nullptr) log = std::make_unique<SampleLog>(output->getName());
        if (log->getConnectedOutput() == nullptr) output->attachInput(*log, false);
    }
}

void FilterDriver::requireForwards(const Stream& samples) const {
    const auto latest = latest_.find(samples.pin);
    if (samples.count == 0 || latest == latest_.end() || samples.stamps[0] >= latest->second) return;
    throw Refusal(
        Refusal::Kind::kInvalidValue,
        fmt::format(
            "{}: time runs backwards: {} s after {} s. A new recording takes a new filter, or a command "
            "that resets this one",
            samples.pin, RecordingIO::exactText(samples.stamps[0]), RecordingIO::exactText(latest->second)));
}

void FilterDriver::push(const Stream& samples) {
    const Core::AbstractInputPin& pin = input(samples.pin);
    requireForwards(samples);
    const std::uint64_t room =
        pin.getBufferSize() - std::min<std::uint64_t>(pin.getBufferSize(), pin.getCounts().buffered);
    if (samples.count > 1 && samples.count > room)
        throw Refusal(
            Refusal::Kind::kInvalidValue,
            fmt::format(
                "{}: {} do not find room in its queue, which takes {} more; call process() in between, or "
                "use run()",
                samples.pin, counted(samples.count, "sample"), room));
    const auto each = static_cast<std::size_t>(samples.shape.rows * samples.shape.cols);
    for (std::size_t i = 0; i < samples.count; ++i)
        source_.send(samples.pin, samples.stamps[i], samples.values + i * each, samples.shape);
    if (samples.count > 0) latest_[samples.pin] = samples.stamps[samples.count - 1];
}

std::uint64_t FilterDriver::getWaiting() const {
    std::uint64_t waiting = 0;
    for (const Core::AbstractInputPin* pin : filter_->getInputPins()) waiting += pin->getCounts().buffered;
    return waiting;
}

void FilterDriver::process() {
    hearOutputs();
    std::uint64_t before;
    do {
        before = takenBy(*filter_);
        filter_->processOnce();
    } while (takenBy(*filter_) != before && hasUnread(*filter_));
}

FilterRunReport FilterDriver::run(const std::vector<Stream>& streams, const RunOptions& options) {
    std::size_t rows = 0;
    for (const Stream& stream : streams) {
        requireForwards(stream);
        input(stream.pin);
        rows = std::max(rows, stream.count);
    }
    if (auto* participant = dynamic_cast<RunParticipant*>(filter_.get())) {
        participant->checkRun();
        participant->prepareRun();
    }
    FilterRunReport report;
    reportUnfed(report);
    const Before before(*filter_, layout_.getErrors());
    {
        const Restoring restoring{*this};
        chooseOutputs(report, options, rows);
        source_.load(streams);
        goThrough(options);
        if (!layout_.wasStopped()) finishStream(report);
        noteMissing(report);
        noteSilence(report);
    }
    completeRun(report);
    this->report(report, before);
    return report;
}

void FilterDriver::reportUnfed(FilterRunReport& report) const {
    for (const Core::AbstractInputPin* pin : filter_->getInputPins())
        if (!pin->content().quantity.empty() && !pin->content().isOptional &&
            pin->getConnectedOutput() == nullptr)
            report.errors.push_back(filter_->getName() + " needs \"" + pin->getName() +
                                    "\", which was not given: nothing will come of it");
}

/// What nobody takes need not be computed.
void FilterDriver::chooseOutputs(FilterRunReport& report, const RunOptions& options, std::size_t rows) {
    for (const std::string& pin : options.outputs) {
        SampleLog& its = log(pin);
        SampleTable& table = report.outputs[pin];
        table.shape = filter_->getOutputPin(pin).content().shape;
        its.writeTo(&table, rows);
    }
    for (Core::AbstractOutputPin* output : filter_->getOutputPins())
        if (!report.outputs.contains(output->getName()))
            output->detachInput(*logs_.at(output->getName()), false);
}

void FilterDriver::goThrough(const RunOptions& options) {
    std::exception_ptr thrown;
    std::uint64_t rounds = 0;
    Clock::time_point latest = Clock::now();
    layout_.setStopOnError(options.stopOnError);
    layout_.setRoundHook([&](double) {
        if (++rounds % kRowsBetweenLooks != 0 || Clock::now() - latest < kBetweenCalls) return;
        try {
            options.look();
        } catch (...) {
            thrown = std::current_exception();
            layout_.stop();
        }
        latest = Clock::now();
    });
    layout_.runToEnd();
    layout_.setRoundHook({});
    source_.eachDone([this](const Stream& stream, const ArraySource::Progress& its) {
        if (its.done > 0) latest_[stream.pin] = stream.stamps[its.done - 1];
    });
    if (!thrown) return;
    FilterRunReport unread;
    completeRun(unread);  // files have the rows done
    std::rethrow_exception(thrown);
}

void FilterDriver::noteMissing(FilterRunReport& report) const {
    source_.eachDone([&](const Stream& stream, const ArraySource::Progress& its) {
        if (its.missing > 0)
            report.notes.push_back(
                fmt::format("{}: {} without a value", stream.pin, counted(its.missing, "row")));
        if (its.infinite > 0)
            report.errors.push_back(fmt::format("{}: {} with an infinite value, left out", stream.pin,
                                                counted(its.infinite, "row")));
    });
}

/// Where nothing of what is kept came, or of the orientations among it.
void FilterDriver::noteSilence(FilterRunReport& report) const {
    std::vector<std::string> all, orientations;
    const SampleTable* most = nullptr;
    bool hasAny = false;
    for (const auto& [pin, table] : report.outputs) {
        all.push_back(pin);
        hasAny |= !table.stamps.empty();
        const Core::AbstractOutputPin* output = filter_->findOutputPin(pin);
        if (output == nullptr || output->content().quantity != Core::kOrientation) continue;
        orientations.push_back(pin);
        if (most == nullptr || table.stamps.size() > most->stamps.size()) most = &table;
    }
    if (most != nullptr && !most->stamps.empty()) return noteUnanswered(report, *most, orientations.front());
    std::size_t rows = 0;
    source_.eachDone(
        [&](const Stream&, const ArraySource::Progress& its) { rows = std::max(rows, its.done); });
    if (rows > 0 && !all.empty() && (most != nullptr || !hasAny))
        report.notes.push_back(fmt::format("{}: nothing came out of {}: {}", filter_->getName(),
                                           counted(rows, "row"),
                                           fmt::join(most != nullptr ? orientations : all, ", ")));
}

/// Samples of needed inputs for which no orientation came, after the first: those of the other inputs have other times.
void FilterDriver::noteUnanswered(FilterRunReport& report, const SampleTable& orientations,
                                  const std::string& output) const {
    const auto unpaired = filter_->getPairing().unpaired;  // told as such
    source_.eachDone([&](const Stream& stream, const ArraySource::Progress& its) {
        const Core::AbstractInputPin* pin = filter_->findInputPin(stream.pin);
        if (pin == nullptr || pin->content().quantity.empty() || pin->content().isOptional) return;
        if (std::ranges::any_of(unpaired, [&](const auto& one) { return one.pin == stream.pin; })) return;
        const double* const end = stream.stamps + its.done;
        const auto given =
            static_cast<std::size_t>(end - std::lower_bound(stream.stamps, end, orientations.stamps.front()));
        const std::size_t used = orientations.stamps.size() + its.missing + its.infinite;
        if (given > used)
            report.notes.push_back(fmt::format("{}: {} of {} gave no {}", stream.pin, given - used,
                                               counted(its.done, "sample"), output));
    });
}

void FilterDriver::finishStream(FilterRunReport& report) {
    auto* participant = dynamic_cast<RunParticipant*>(filter_.get());
    if (participant == nullptr) return;
    try {
        participant->finishStream();
    } catch (const std::exception& error) {
        report.errors.push_back(filter_->getName() + ": " + textOf(error));
    }
    while (layout_.runPending()) {
    }
}

void FilterDriver::completeRun(FilterRunReport& report) {
    auto* participant = dynamic_cast<RunParticipant*>(filter_.get());
    if (participant == nullptr) return;
    try {
        participant->completeRun();
    } catch (const std::exception& error) {
        report.errors.push_back(filter_->getName() + ": " + textOf(error));
    }
}

void FilterDriver::report(FilterRunReport& report, const Before& before) {
    std::uint64_t listed = 0;
    const std::vector<Core::ProcessError> errors = layout_.getErrors().getErrors();
    for (std::size_t i = 0; i < errors.size(); ++i) {
        const bool isNew = i >= before.errors.size();
        const std::uint64_t count = errors[i].count - (isNew ? 0 : before.errors[i].count);
        if (count == 0) continue;
        listed += count;
        const std::string at = isNew ? fmt::format(" at {} s", Cli::numberText(errors[i].timeStamp)) : "";
        const std::string times = count > 1 ? fmt::format(", {} in all", counted(count, "time")) : "";
        report.errors.push_back(errors[i].filter + at + times + ": " +
                                (errors[i].message.empty() ? errors[i].type : errors[i].message));
    }
    if (const std::uint64_t others = layout_.getErrors().getCount() - before.errorCount - listed; others > 0)
        report.errors.push_back(counted(others, "further error") + ", not listed");
    reportPairing(report, before);
    for (const auto& [name, was] : before.pins) {
        const Core::AbstractInputPin* pin = filter_->findInputPin(name);
        if (pin == nullptr) continue;
        if (pin->getMisfits() > was.misfits) report.errors.push_back(Cli::misfitText(*pin));
        if (const std::uint64_t dropped = pin->getCounts().dropped - was.dropped; dropped > 0)
            report.notes.push_back(fmt::format("{} dropped {} (buffer of {})", pin->fullName(),
                                               counted(dropped, "sample"), pin->getBufferSize()));
    }
    reportData(report);
}

/// As a run of a layout says it; counts are those of this run.
void FilterDriver::reportPairing(FilterRunReport& report, const Before& before) const {
    Core::PairingReport pairing = filter_->getPairing();
    if (pairing.unlike > before.unlike)
        report.errors.push_back(Cli::differenceText(filter_->getName(), pairing));
    if (!before.wasUnpaired && Cli::isMostlyUnpaired(*filter_, pairing)) {
        report.errors.push_back(Cli::unpairedText(filter_->getName(), pairing, true));
        return;
    }
    for (auto& [pin, count] : pairing.unpaired)
        if (const auto was = before.unpaired.find(pin); was != before.unpaired.end())
            count -= std::min(count, was->second);
    std::erase_if(pairing.unpaired, [](const auto& one) { return one.count == 0; });
    if (!pairing.unpaired.empty()) report.notes.push_back(Cli::unpairedText(filter_->getName(), pairing));
}

void FilterDriver::reportData(FilterRunReport& report) const {
    const auto* participant = dynamic_cast<const RunParticipant*>(filter_.get());
    if (participant == nullptr) return;
    for (const std::string& error : participant->runErrors())
        report.errors.push_back(filter_->getName() + ": " + error);
    for (const std::string& note : participant->runNotes())
        report.notes.push_back(filter_->getName() + ": " + note);
}

}  // namespace Kavelin::Python
