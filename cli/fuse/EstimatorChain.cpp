#include "cli/fuse/EstimatorChain.h"

#include <Kavelin/Core/FlowManager.h>

#include <algorithm>

#include "cli/layout/PropertyValue.h"
#include "io/AttitudeFrame.h"
#include "io/FilterCsvReader.h"
#include "io/FilterResampler.h"
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
    if (options_.rate > 0.0) set(recording, "Rate", numberText(options_.rate), "--rate");
    // An incomplete pair would be completed from the next row.
    set(recording, "Together", estimator_.pinsTakenTogether());
    if (estimator_.pairsInputs()) set(recording, "Repeat", "3m");
    set(recording, "File Name", literal(path), "RECORDING");
}

Target EstimatorChain::sensor(const ChainNames& chain, const std::string& pin) const {
    return {hasFilter(chain.clock.c_str()) ? chain.clock : chain.recording, pin, {}};
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
        if (schema.find(pin)) connect({chain.recording, pin, {}}, {chain.clock, pin, {}});
}

void EstimatorChain::feedEstimator(const ChainNames& chain, const RecordingIO::Schema& schema) {
    addClock(chain, schema);
    if (estimator_.wantsColumns) add(chain.columns, RecordingIO::FilterTranspose::kTypeName);
    for (const Estimator::Feed& feed : estimator_.feeds) {
        if (schema.find(feed.from) == nullptr) continue;
        // What need not come with each rate is taken as it was measured.
        Target source = feed.isOptional ? Target{chain.recording, feed.from, {}} : sensor(chain, feed.from);
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
