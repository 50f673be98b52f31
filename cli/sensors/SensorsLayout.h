#pragma once

#include <string>
#include <vector>

#include "cli/fuse/EstimatorChain.h"

namespace Kavelin::Cli {

/// The layout that fuses all sensors of a recording into one table, as a file might hold it; each sensor alike:
///
///     recording_1 --> estimator_1 --> form_1 --> together --> result
///         |-> verdict_1 <-|
///
/// It is made in two steps, as its parts depend on what the recording holds of each.
class SensorsLayout : public EstimatorChain {
public:
    /// The recordings and the estimators, with the settings that name them.
    SensorsLayout(const FuseOptions& options, const std::vector<std::string>& sensors,
                  const Estimator& estimator, Mistakes& mistakes);

    /// Everything else.  @param schemas of what is read for each sensor
    void complete(const std::vector<const RecordingIO::Schema*>& schemas, Mistakes& mistakes);

    const std::string& recording(std::size_t sensor) const { return chains_[sensor].recording; }

private:
    void applySettings(Mistakes& mistakes);

    const std::vector<std::string>& sensors_;
    std::vector<ChainNames> chains_;
    std::vector<std::string> settings_;  // not yet applied
};

}  // namespace Kavelin::Cli
