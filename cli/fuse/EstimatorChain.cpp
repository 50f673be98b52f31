#include "cli/fuse/EstimatorChain.h"

#include <Kavelin/Core/FlowManager.h>
#include <fmt/format.h>

#include <algorithm>

#include "calibration/FilterCalibration.h"
#include "calibration/file/CalibrationFile.h"
#include "cli/CommandContext.h"
#include "cli/fuse/UnitFiles.h"
#include "cli/layout/PropertyValue.h"
#include "io/AttitudeFrame.h"
#include "io/FilterCsvReader.h"
#include "io/FilterResampler.h"
#include "io/FilterSegment.h"
#include "io/FilterTranspose.h"
#include "io/FilterVerdict.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

void EstimatorChain::addRecording(const ChainNames& chain, const std::string& path,
                                  const std::string& sensor) {
    FilterEntry& recording = add(chain.recording, RecordingIO::FilterCsvReader::kTypeName);
    set(recording, "Format", options_.format, "--format '" + options_.format + "'");
    set(recording, "Sensor", sensor, (options_.sensor.empty() ? "--joint '" : "--sensor '") + sensor + "'");
    set(recording, "Dialect", options_.dialect, "--dialect \"" + options_.dialect + "\"");
    set(recording, "Axes", options_.axes, "--axes \"" + options_.axes + "\"");
    set(recording, "Mapping", options_.mapping, "--map \"" + options_.mapping + "\"");
    set(recording, "Units", options_.units, "--units \"" + options_.units + "\"");
    if (options_.time == "arrival") set(recording, "Time", "arrival", "--time arrival");
    if (options_.rate > 0.0) set(recording, "Rate", numberText(options_.rate), "--rate");
    // An incomplete pair would be completed from the next row.
    set(recording, "Together", estimator_.pinsTakenTogether());
    if (estimator_.pairsInputs()) set(recording, "Repeat", "3m");
    set(recording, "File Name", literal(path), "RECORDING");
}

void EstimatorChain::addCalibration(const ChainNames& chain, const std::string& unit) {
    if (options_.memory.isCalibrated) {
        add(chain.calibration, Calibration::FilterCalibration::kTypeName);
        return;
    }
    const std::string file = UnitFiles("--calibration", options_.calibration).of(unit);
    if (file.empty()) return;
    FilterEntry& calibration = add(chain.calibration, Calibration::FilterCalibration::kTypeName);
    set(calibration, "File Name", literal(file), "--calibration '" + file + "'");
}

Target EstimatorChain::addMount(const ChainNames& chain, const std::string& unit, const Target& attitude) {
    const std::string file = UnitFiles("--mount", options_.mount).of(unit);
    if (file.empty()) return attitude;
    if (RecordingIO::alignmentOf(estimator_.frame).value_or(RecordingIO::Alignment::kStart) ==
        RecordingIO::Alignment::kStart)
        throw UsageError("--mount: the attitude of " + options_.type +
                         " is not relative to the earth, and so would not be that of the segment");
    const auto mount = Calibration::readCalibration(file).mount;
    if (!mount)
        throw UsageError("--mount: " + file +
                         " does not say how the unit is mounted: kavelin calibrate mount finds it");
    const Eigen::Quaterniond q = mount->q_segment_sensor.normalized().conjugate();
    FilterEntry& segment = add(chain.mount, RecordingIO::FilterSegment::kTypeName);
    set(segment, "Mounting",
        fmt::format("1 4 {} {} {} {}", numberText(q.w()), numberText(q.x()), numberText(q.y()),
                    numberText(q.z())));
    connect(attitude, {chain.mount, "attitude", {}}, isLent(chain));
    return {chain.mount, "segment", {}};
}

Target EstimatorChain::measured(const ChainNames& chain, const std::string& pin) const {
    const bool isCalibrated = pin != "quat" && hasFilter(chain.calibration.c_str());
    return {isCalibrated ? chain.calibration : chain.recording, pin, {}};
}

Target EstimatorChain::sensor(const ChainNames& chain, const std::string& pin) const {
    return hasFilter(chain.clock.c_str()) ? Target{chain.clock, pin, {}} : measured(chain, pin);
}

/// Sensors in files of their own have times of their own: the others are brought to the times of the rates.
void EstimatorChain::addClock(const ChainNames& chain, const RecordingIO::Schema& schema) {
    const bool hasClocks = std::ranges::any_of(
        schema.channels, [](const RecordingIO::Channel& channel) { return channel.clock > 0; });
    if (!hasClocks) return;
    FilterEntry& clock = add(chain.clock, RecordingIO::FilterResampler::kTypeName);
    set(clock, "Clock", schema.find("3g") ? "3g" : "3a");
    std::vector<std::string> optional;
    for (const char* pin : {"3m", "quat"}) {
        const bool isPaired = pin == std::string("3m") && estimator_.pairsInputs();
        if (schema.find(pin) && !isPaired) optional.emplace_back(pin);
    }
    set(clock, "Optional", RecordingIO::listed(optional));
    for (const char* pin : {"3a", "3g", "3m", "quat"})
        if (schema.find(pin)) connect(measured(chain, pin), {chain.clock, pin, {}});
}

void EstimatorChain::feedEstimator(const ChainNames& chain, const RecordingIO::Schema& schema) {
    if (hasFilter(chain.calibration.c_str())) {
        for (const char* pin : {"3a", "3g", "3m"})
            if (schema.find(pin)) connect({chain.recording, pin, {}}, {chain.calibration, pin, {}}, true);
    }
    addClock(chain, schema);
    if (estimator_.wantsColumns) add(chain.columns, RecordingIO::FilterTranspose::kTypeName);
    for (const Estimator::Feed& feed : estimator_.feeds) {
        if (schema.find(feed.from) == nullptr) continue;
        // What need not come with each rate is taken as it was measured.
        Target source = feed.isOptional ? measured(chain, feed.from) : sensor(chain, feed.from);
        if (estimator_.wantsColumns) {
            connect(source, {chain.columns, feed.from, {}});
            source = {chain.columns, feed.from, {}};
        }
        connect(source, {chain.estimator, feed.to, {}});
    }
}

void EstimatorChain::addVerdict(const ChainNames& chain, const RecordingIO::Schema& schema) {
    if (!RecordingIO::alignmentOf(estimator_.frame)) return;
    add(chain.verdict, RecordingIO::FilterVerdict::kTypeName);
    for (const char* pin : {"3a", "3g", "3m"})
        if (schema.find(pin)) connect(sensor(chain, pin), {chain.verdict, pin, {}}, isLent(chain));
    connect({chain.estimator, estimator_.attitudePin, {}}, {chain.verdict, "attitude", {}}, isLent(chain));
    const Core::FilterPtr estimator =
        Core::FlowManager::instance().getPluginManager().createFilter(options_.type, "estimator");
    for (const char* pin : {"3g_bias", "3m_hardiron", "sigma", "flag_rest", "flag_mag", "flag_mag_body"})
        if (estimator->findOutputPin(pin))
            connect({chain.estimator, pin, {}}, {chain.verdict, pin, {}}, isLent(chain));
}

}  // namespace Kavelin::Cli
