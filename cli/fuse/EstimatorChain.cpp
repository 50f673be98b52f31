#include "cli/fuse/EstimatorChain.h"

#include <Kavelin/Core/FlowManager.h>

#include "cli/layout/PropertyValue.h"
#include "io/AttitudeFrame.h"
#include "io/FilterCsvReader.h"
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

void EstimatorChain::feedEstimator(const ChainNames& chain, const RecordingIO::Schema& schema) {
    std::string source = chain.recording;
    if (estimator_.wantsColumns) add(source = chain.columns, RecordingIO::FilterTranspose::kTypeName);
    for (const Estimator::Feed& feed : estimator_.feeds) {
        if (schema.find(feed.from) == nullptr) continue;
        if (estimator_.wantsColumns) connect({chain.recording, feed.from, {}}, {source, feed.from, {}});
        connect({source, feed.from, {}}, {chain.estimator, feed.to, {}});
    }
}

void EstimatorChain::addVerdict(const ChainNames& chain, const RecordingIO::Schema& schema) {
    if (!RecordingIO::alignmentOf(estimator_.frame)) return;
    add(chain.verdict, RecordingIO::FilterVerdict::kTypeName);
    for (const char* pin : {"3a", "3g", "3m"})
        if (schema.find(pin)) connect({chain.recording, pin, {}}, {chain.verdict, pin, {}}, true);
    connect({chain.estimator, estimator_.attitudePin, {}}, {chain.verdict, "attitude", {}}, true);
    const Core::FilterPtr estimator =
        Core::FlowManager::instance().getPluginManager().createFilter(options_.type, "estimator");
    for (const char* pin : {"3g_bias", "3m_hardiron", "sigma", "flag_rest", "flag_mag", "flag_mag_body"})
        if (estimator->findOutputPin(pin))
            connect({chain.estimator, pin, {}}, {chain.verdict, pin, {}}, true);
}

}  // namespace Kavelin::Cli
