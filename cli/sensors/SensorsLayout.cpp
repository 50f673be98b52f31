#include "cli/sensors/SensorsLayout.h"

#include <fmt/format.h>

#include "cli/fuse/FuseLayout.h"
#include "cli/layout/PropertyValue.h"
#include "io/FilterAttitudeForm.h"
#include "io/FilterCsvWriter.h"
#include "io/FilterResampler.h"

namespace Kavelin::Cli {

SensorsLayout::SensorsLayout(const FuseOptions& options, const std::vector<std::string>& sensors,
                             const Estimator& estimator, Mistakes& mistakes)
    : EstimatorChain("sensors",
                     "kavelin fuse " + options.recording + " --all-sensors --filter " + options.type, options,
                     estimator),
      sensors_(sensors),
      settings_(options.settings) {
    // Numbers, as any text may be the name of a sensor.
    for (std::size_t i = 0; i < sensors_.size(); ++i) {
        chains_.push_back(ChainNames::of(std::to_string(i + 1)));
        addRecording(chains_[i], options.recording, sensors_[i]);
        addCalibration(chains_[i], sensors_[i]);
        add(chains_[i].estimator, options.type);
    }
    applySettings(mistakes);
}

void SensorsLayout::complete(const std::vector<const RecordingIO::Schema*>& schemas, Mistakes& mistakes) {
    FilterEntry& together = add("together", RecordingIO::FilterResampler::kTypeName);
    const double rate = resultRate(options_, *schemas.front());
    if (rate > 0.0)
        set(together, "Rate", numberText(rate), options_.outputRate > 0.0 ? "--output-rate" : "--rate");
    else
        set(together, "Clock", sensors_.front());
    for (std::size_t i = 0; i < sensors_.size(); ++i) {
        feedEstimator(chains_[i], *schemas[i]);
        addVerdict(chains_[i], *schemas[i]);
        const Target own{chains_[i].estimator, estimator_.attitudePin, {}};
        Target attitude = addMount(chains_[i], sensors_[i], own);
        const bool isRow = estimator_.isRow || attitude.filter != own.filter;
        if (!isRow || !options_.frame.empty()) {
            const std::string form = fmt::format("form_{}", i + 1);
            set(add(form, RecordingIO::FilterAttitudeForm::kTypeName), "Frame", options_.frame,
                "--frame " + options_.frame);
            connect(attitude, {form, "attitude", {}});
            attitude = {form, "quaternion", {}};
        }
        connect(attitude, {"together", sensors_[i], {}});
    }
    FilterEntry& result = add("result", RecordingIO::FilterCsvWriter::kTypeName);
    set(result, "Format", "sto");
    set(result, "File Name", literal(options_.output), "-o '" + options_.output + "'");
    for (const std::string& sensor : sensors_) connect({"together", sensor, {}}, {"result", sensor, {}});
    applySettings(mistakes);
}

/// One that names no filter goes to all estimators or all recordings, where they have such a property.
void SensorsLayout::applySettings(Mistakes& mistakes) {
    std::vector<std::string> estimators;
    std::vector<std::string> recordings;
    for (const ChainNames& chain : chains_) {
        estimators.push_back(chain.estimator);
        recordings.push_back(chain.recording);
    }
    settings_ = LayoutDraft::applySettings(settings_, {options_.type, estimators, recordings}, mistakes);
}

}  // namespace Kavelin::Cli
