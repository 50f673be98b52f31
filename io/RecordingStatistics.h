#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "io/RateCheck.h"
#include "io/RestWatch.h"
#include "io/Row.h"
#include "io/Schema.h"
#include "io/StepMonitor.h"

namespace Kavelin::RecordingIO {

/// What a recording turned out to hold, gathered row by row in constant memory, and what in it cannot be
/// right.
class RecordingStatistics {
public:
    struct ChannelCount {
        std::string pin;
        std::size_t size = 0;      ///< elements of a value
        std::uint64_t values = 0;  ///< measured, not repeated
        std::uint64_t repeated = 0;
        double sumOfSquares = 0.0;  ///< of the vectors' norms
        double greatestSquare = 0.0;
        double first = 0.0;  ///< s, time of the first value
        double last = 0.0;

        double rate() const;  ///< values a second; 0 for fewer than two
        double rootMeanSquare() const;
    };

    explicit RecordingStatistics(const Schema& schema);

    void add(const Row& row);
    /// Call it once, behind the last row.
    void finish() { steps_.finish(); }

    std::uint64_t rows() const { return rows_; }
    /// Rows with some, and with all, of the channels that are sent together.
    std::uint64_t partialRows() const { return partialRows_; }
    std::uint64_t completeRows() const { return completeRows_; }
    double seconds() const { return rows_ > 1 ? lastTime_ - firstTime_ : 0.0; }
    double rate() const;
    const StepMonitor& steps() const { return steps_; }
    const RestWatch& rest() const { return rest_; }
    const std::vector<ChannelCount>& channels() const { return channels_; }
    const ChannelCount* find(std::string_view pin) const;

    /// One sentence for each thing that needs a person's eye: columns not understood, a channel without a
    /// value, a gyroscope in deg/s or an accelerometer in g that does not say so, gaps, equal time stamps,
    /// values repeated.
    std::vector<std::string> warnings(const Schema& schema) const;

private:
    void warnOfRates(const Schema& schema, std::vector<std::string>& out) const;
    void warnOfForce(std::vector<std::string>& out) const;
    void warnOfTime(std::vector<std::string>& out) const;

    std::vector<ChannelCount> channels_;
    std::size_t accelerationIndex_;
    std::size_t rateIndex_;
    std::uint64_t rows_ = 0;
    std::uint64_t partialRows_ = 0;
    std::uint64_t completeRows_ = 0;
    double firstTime_ = 0.0;
    double lastTime_ = 0.0;
    StepMonitor steps_;
    RateCheck rates_;
    RestWatch rest_;
};

}  // namespace Kavelin::RecordingIO
