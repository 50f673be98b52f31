#pragma once

#include <Eigen/Core>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "io/recording/ClipWatch.h"
#include "io/recording/GravitySign.h"
#include "io/recording/RateCheck.h"
#include "io/recording/Row.h"
#include "io/recording/Schema.h"
#include "io/recording/StepMonitor.h"

namespace Kavelin::RecordingIO {

/// What a recording holds, gathered row by row in constant memory, and what in it cannot be right.
class RecordingStatistics {
public:
    struct ChannelCount {
        std::string pin;
        std::size_t size = 0;      ///< elements of a value
        std::uint64_t values = 0;  ///< measured, not repeated
        std::uint64_t repeated = 0;
        std::uint64_t marked = 0;    ///< -9999 in all elements
        std::uint64_t nearOne = 0;   ///< values with a norm of 0.7 to 1.4
        std::uint64_t nearZero = 0;  ///< ... and of less than 0.4
        std::uint64_t zeros = 0;     ///< values that are exactly zero
        double sumOfSquares = 0.0;   ///< of the vectors' norms
        double greatestSquare = 0.0;
        double first = 0.0;  ///< s, time of the first value
        double last = 0.0;

        /// Whether the norms are those of gravity in g: mostly about 1, and hardly ever about 0.
        bool looksLikeGravityInG() const { return 2 * nearOne > values && 10 * nearZero < values; }
        double rate() const;  ///< values a second; 0 for fewer than two
        double rootMeanSquare() const;
    };

    explicit RecordingStatistics(const Schema& schema);

    void add(const Row& row);
    /// Call it once, after the last row.
    void finish() { steps_.finish(); }

    std::uint64_t rows() const { return rows_; }
    /// Rows with some, and with all, of the channels that are sent together.
    std::uint64_t partialRows() const { return partialRows_; }
    std::uint64_t completeRows() const { return completeRows_; }
    /// Packets that a counter in the recording misses.
    std::uint64_t lost() const { return lost_; }
    const GravitySign& gravitySign() const { return gravity_; }
    double seconds() const { return rows_ > 1 ? lastTime_ - firstTime_ : 0.0; }
    double rate() const;
    const StepMonitor& steps() const { return steps_; }
    const std::vector<ChannelCount>& channels() const { return channels_; }
    const ChannelCount* find(std::string_view pin) const;

    /// One sentence for each thing that needs a person's attention: columns not understood, a channel without
    /// a value, an accelerometer in g that does not say so, a clipped gyroscope, gaps,
    /// equal time stamps, values repeated.
    std::vector<std::string> warnings(const Schema& schema) const;
    /// The same of a field that points up, as with the wrong sign of gravity; it means nothing for a magnetometer that is
    /// not calibrated. Empty where there is nothing to say.
    std::string warningOfField() const;
    /// The same for data that cannot be right, so that results from it are wrong: undeclared deg/s, raw
    /// counts, linear acceleration, time in another unit than declared. A handful of rows gives only a
    /// suspicion, which is among the warnings.
    std::vector<std::string> errors(const Schema& schema) const;

private:
    std::vector<std::string> suspicions(const Schema& schema) const;
    bool hasWrongTime(const Schema& schema) const;
    bool hasWrongRates(const Schema& schema) const;
    std::string aboutRates(const Schema& schema) const;
    std::string aboutTime(const Schema& schema) const;
    std::string aboutForce(const Schema& schema, const ChannelCount& force) const;
    void warnOfChannels(std::vector<std::string>& out) const;
    void watchGravity(const Row& row);
    void warnOfSteps(std::vector<std::string>& out) const;

    std::vector<ChannelCount> channels_;
    std::size_t accelerationIndex_;
    std::size_t rateIndex_;
    std::size_t fieldIndex_;
    std::size_t attitudeIndex_;
    std::size_t stepIndex_;  // the channel whose steps are watched; none of them: all rows
    std::uint64_t rows_ = 0;
    std::uint64_t lost_ = 0;
    std::uint64_t partialRows_ = 0;
    std::uint64_t completeRows_ = 0;
    Eigen::Vector3d acceleration_ = Eigen::Vector3d::Constant(std::nan(""));  // the newest
    double firstTime_ = 0.0;
    double lastTime_ = 0.0;
    StepMonitor steps_;
    RateCheck rates_;
    ClipWatch clipping_;
    GravitySign gravity_;
};

}  // namespace Kavelin::RecordingIO
