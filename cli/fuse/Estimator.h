#pragma once

#include <Kavelin/Core/Filter.h>

#include <string>
#include <string_view>
#include <vector>

#include "io/recording/Schema.h"

namespace Kavelin::Cli {

/// How to feed a recording to a filter, and what attitude it gives: read from what its pins declare.
struct Estimator {
    /// A pin of the recording and the input pin that it feeds.
    struct Feed {
        std::string from;
        std::string to;
        bool isOptional = false;
    };

    std::string attitudePin;
    bool isRow = false;      ///< a quaternion as 1x4; else a column or a matrix
    std::string_view frame;  ///< of the attitude
    std::vector<Feed> feeds;
    std::vector<std::string> flagPins;  ///< outputs "flag_...", 1x1
    bool wantsColumns = false;          ///< 3x1 vectors
    bool stampsWithWallClock = false;

    /// Whether it takes one sample of each sensor at a time,
    /// so that a row that lacks one would shift all later ones.
    bool pairsInputs() const;
    bool uses(std::string_view recordingPin) const;
    /// Pins of the recording that are useless without each other: "3a, 3g".
    std::string pinsTakenTogether() const;
};

/// @throws UsageError, naming the types that would do, when the filter has no attitude or no sensor pin.
Estimator describeEstimator(Core::Filter& filter);
/// The same of a new filter of that type.  @throws as well Poco exceptions for an unknown type
Estimator describeEstimator(const std::string& type);

/// @throws UsageError unless the recording has what the estimator needs.
/// @param recording its name, for messages
void requireSensors(const RecordingIO::Schema& schema, const Estimator& estimator, const std::string& type,
                    const std::string& recording);

}  // namespace Kavelin::Cli
