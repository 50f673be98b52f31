#include "cli/fleet/UnitLayout.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/ConnectionOptions.h>
#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "calibration/CalibrationTaker.h"
#include "calibration/file/CalibrationFile.h"
#include "cli/CommandContext.h"
#include "io/VerdictSource.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

const char* const kRecording = "recording";

/// What `fuse` would write of one recording of the unit.
FuseOptions optionsOf(const FuseOptions& engine, bool isCalibrated) {
    FuseOptions options = engine;
    options.recording = "unit";
    options.output = "-";
    options.calibration.clear();
    options.memory = {};
    options.memory.isCalibrated = isCalibrated;
    options.memory.rowsOnly = true;
    options.quiet = true;
    return options;
}

/// The reader's properties are the options', and nothing else: the rows do not pass through it.
void requirePlainReader(const FilterEntry& recording, const FuseOptions& options,
                        const Estimator& estimator) {
    for (const PropertyEntry& property : recording.properties) {
        const std::string& name = property.name.text;
        const std::string& value = property.value.text;
        const bool isOptions = (name == "Mapping" && value == options.mapping) ||
                               (name == "Units" && value == options.units) ||
                               (name == "Axes" && value == options.axes) ||
                               (name == "Together" && value == estimator.pinsTakenTogether()) ||
                               (name == "Repeat" && value == "3m") || name == "File Name";
        if (!isOptions)
            throw UsageError("--set " + name + ": rows that come in batches are not read by that filter");
    }
}

}  // namespace

RecordingIO::ReaderOptions UnitLayout::readerOptions(const FuseOptions& options, const Estimator& estimator) {
    RecordingIO::ReaderOptions reader;
    reader.mapping = options.mapping;
    reader.units = RecordingIO::parseUnits(options.units);
    reader.axes = RecordingIO::parseAxes(options.axes);
    reader.together = RecordingIO::namesIn(estimator.pinsTakenTogether());
    if (estimator.pairsInputs()) reader.repeat = {"3m"};
    return reader;
}

UnitLayout::UnitLayout(const FuseOptions& options, const Estimator& estimator,
                       const RecordingIO::Schema& schema, bool isCalibrated)
    : options_(optionsOf(options, isCalibrated)),
      estimator_(estimator),
      draft_(options_, estimator_, mistakes_),
      source_(std::make_unique<UnitSource>(kRecording, schema, readerOptions(options_, estimator_))) {
    requireNoMistake(mistakes_);
    requireSensors(schema, estimator_, options_.type, "the batch");
    draft_.complete(schema, std::nullopt, mistakes_);
    requireNoMistake(mistakes_);
    result_ = std::make_unique<ResultLines>("result", RecordingIO::parseHeader(draft_.table().header));
    build();
    states_.emplace(layout_->getFilters());
    fresh_ = FreshState(save());
}

/// The filters as the draft has them, between the source and the result in place of files.
void UnitLayout::build() {
    static std::uint64_t count = 0;
    draft_.file().plugins.emplace();  // they are loaded
    LayoutEntry& entry = draft_.file().layouts.front();
    entry.name.text = fmt::format("unit {}", ++count);
    const auto recording = std::ranges::find(entry.filters, kRecording,
                                             [](const FilterEntry& filter) { return filter.name.text; });
    requirePlainReader(*recording, options_, estimator_);
    entry.filters.erase(recording);
    // Filters that make a pin for each connection need the source's before those behind them.
    std::vector<ConnectionEntry> connections = std::exchange(draft_.file().connections, {});
    const auto own = std::stable_partition(
        connections.begin(), connections.end(),
        [](const ConnectionEntry& connection) { return connection.from.filter == kRecording; });
    builder_ = std::make_unique<LayoutBuilder>(draft_.file(), Core::FlowManager::instance(), mistakes_);
    builder_->build();
    requireNoMistake(mistakes_);
    layout_ = builder_->find("estimator")->getManager();
    layout_->add(*source_);
    layout_->add(*result_);
    for (auto connection = connections.begin(); connection != own; ++connection)
        Core::connect(source_->getOutputPin(connection->from.element),
                      builder_->find(connection->to.filter)->getInputPin(connection->to.element),
                      {.bufferSize = connection->bufferSize});
    draft_.file().connections.assign(own, connections.end());
    builder_->build();
    requireNoMistake(mistakes_);
    attach(draft_.table().from, draft_.table().rows);
    for (const ResultWatch::Extra& extra : draft_.writtenExtras())
        attach(draft_.writtenSource(extra.name), extra.name);
    builder_->check({});
    builder_->activateCommands();
    builder_->prepareRun();
    requireNoMistake(mistakes_);
}

void UnitLayout::attach(const Target& from, const std::string& pin) {
    Core::connect(builder_->find(from.filter)->getOutputPin(from.element), result_->getInputPin(pin),
                  {.bufferSize = kDefaultBufferSize});
}

void UnitLayout::begin(const std::string& calibration) {
    restore(fresh_.bytes);
    if (calibration.empty()) return;
    dynamic_cast<Calibration::CalibrationTaker&>(*builder_->find("calibration"))
        .takeCalibration(Calibration::parseCalibration(calibration, "the unit's calibration"));
}

std::vector<std::string> UnitLayout::takeErrors() {
    Core::ErrorLog& log = layout_->getErrors();
    if (log.getCount() == 0) return {};
    std::vector<std::string> errors;
    for (const Core::ProcessError& error : log.getErrors())
        errors.push_back(error.filter + ": " + (error.message.empty() ? error.type : error.message));
    log.restore(0, {});
    return errors;
}

std::optional<RecordingIO::Verdicts> UnitLayout::verdicts() const {
    const auto* source = dynamic_cast<const RecordingIO::VerdictSource*>(builder_->find("verdict"));
    const auto judged = source ? source->judged() : std::nullopt;
    return judged ? std::optional(judged->verdicts) : std::nullopt;
}

}  // namespace Kavelin::Cli
