#pragma once

#include <array>
#include <string>
#include <vector>

#include "cli/fuse/EstimatorChain.h"
#include "cli/joint/JointOptions.h"
#include "orientation/joint/JointAlignment.h"

namespace Kavelin::Cli {

/// The layout of `kavelin fuse --joint`, as a file might hold it; D and G alike:
///
///     recording_D --> estimator_D --> segment_D --> pairs --> heading --> joint --> degrees --> result
///         |-> verdict_D <-|                         (with G)  (with a hinge)
///
/// It is made in two steps, as its parts depend on what the recordings hold, and in two kinds: to find out how
/// the units are aligned with their segments, and to compute the joint's angles.
class JointLayout : public EstimatorChain {
public:
    /// The recordings and the estimators, with the settings that name them.  @param estimator of both
    JointLayout(const FuseOptions& options, const JointUnits& units, const Estimator& estimator,
                Mistakes& mistakes);

    using Schemas = std::array<const RecordingIO::Schema*, 2>;
    /// Completes it up to "pairs", which sends attitudes and rates of both at the times of D's attitudes.
    void completeSurvey(const Schemas& schemas, Mistakes& mistakes);
    struct Found {
        OrientationInternal::JointAlignment alignment;
        bool hasPose = false;   ///< the alignment makes the angles zero; else the first pair does
        bool hasHinge = false;  ///< z of both segments is the hinge, which keeps their headings together
    };
    /// Completes all of it.  @throws UsageError for rates that contradict each other
    void completeResult(const Schemas& schemas, const Found& found, Mistakes& mistakes);

    const std::string& recording(std::size_t unit) const { return chains_[unit].recording; }
    const std::string& estimator(std::size_t unit) const { return chains_[unit].estimator; }

    /// Pins of "pairs", for D and G.
    static constexpr const char* kAttitudePins[] = {"D", "G"};
    static constexpr const char* kRatePins[] = {"3g of D", "3g of G"};

private:
    void addSegment(std::size_t unit, const OrientationInternal::SegmentAlignment& alignment);
    void addPairs(double rate);
    void addHeading();
    void addResult();
    void applySettings(Mistakes& mistakes);

    const JointUnits& units_;
    std::array<ChainNames, 2> chains_;
    std::array<std::string, 2> segments_;
    std::vector<std::string> settings_;  // not yet applied
};

}  // namespace Kavelin::Cli
