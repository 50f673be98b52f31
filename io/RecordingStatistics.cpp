#include "io/RecordingStatistics.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "io/ResultFile.h"
#include "io/Text.h"

namespace Kavelin::RecordingIO {

namespace {

// A hand turns a unit at 1 to 3 rad/s in the mean and 35 rad/s (2000 deg/s, where most gyroscopes end) at
// most.
const double kImplausibleMeanRate = 10.0;  // rad/s, root mean square
const double kImplausibleRate = 80.0;      // rad/s, a single sample
const double kLeastGravity = 5.0;          // m/s^2, root mean square of the specific force
const double kGreatestMeanForce = 60.0;    // m/s^2

std::string shortNumber(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g", value);
    return text;
}

/// The text form with all digits: a time stamp may be seconds since 1970.
std::string timeStamp(double value) {
    char text[32];
    return {text, writeNumber(text, value)};
}

/// Index of the channel with three elements for a pin; the number of channels where there is none.
std::size_t vectorIndexOf(const Schema& schema, std::string_view pin) {
    const auto found =
        std::find_if(schema.channels.begin(), schema.channels.end(),
                     [pin](const Channel& channel) { return channel.pin == pin && channel.size() == 3; });
    return static_cast<std::size_t>(found - schema.channels.begin());
}

}  // namespace

double RecordingStatistics::ChannelCount::rate() const {
    return values > 1 && last > first ? static_cast<double>(values - 1) / (last - first) : 0.0;
}

double RecordingStatistics::ChannelCount::rootMeanSquare() const {
    return values > 0 ? std::sqrt(sumOfSquares / static_cast<double>(values)) : 0.0;
}

RecordingStatistics::RecordingStatistics(const Schema& schema)
    : channels_(schema.channels.size()),
      accelerationIndex_(vectorIndexOf(schema, "3a")),
      rateIndex_(vectorIndexOf(schema, "3g")) {
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        channels_[i].pin = schema.channels[i].pin;
        channels_[i].size = schema.channels[i].size();
    }
}

void RecordingStatistics::add(const Row& row) {
    const double time = row.time();
    if (rows_++ == 0) firstTime_ = time;
    lastTime_ = time;
    steps_.add(time);
    if (row.together() == Row::Share::kSome) ++partialRows_;
    if (row.together() == Row::Share::kAll) ++completeRows_;
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        ChannelCount& channel = channels_[i];
        if (row.has(i) && row.isRepeated(i)) ++channel.repeated;
        if (!row.isMeasured(i)) continue;
        const double* value = row.values(i);
        double square = 0.0;
        for (std::size_t e = 0; e < channel.size; ++e) square += value[e] * value[e];
        if (channel.values++ == 0) channel.first = time;
        channel.last = time;
        channel.sumOfSquares += square;
        channel.greatestSquare = std::max(channel.greatestSquare, square);
    }
    const std::size_t both = std::max(accelerationIndex_, rateIndex_);
    if (both >= channels_.size() || !row.isMeasured(accelerationIndex_) || !row.isMeasured(rateIndex_))
        return;
    const Eigen::Vector3d acceleration(row.values(accelerationIndex_));
    const Eigen::Vector3d rate(row.values(rateIndex_));
    rates_.add(time, acceleration, rate);
    if (rest_.isWatching()) rest_.add(time, acceleration, rate);
}

double RecordingStatistics::rate() const {
    return seconds() > 0.0 ? static_cast<double>(rows_ - 1) / seconds() : 0.0;
}

const RecordingStatistics::ChannelCount* RecordingStatistics::find(std::string_view pin) const {
    for (const ChannelCount& channel : channels_) {
        if (channel.pin == pin) return &channel;
    }
    return nullptr;
}

std::vector<std::string> RecordingStatistics::warnings(const Schema& schema) const {
    std::vector<std::string> out = schema.notes;
    if (!schema.unknownColumns.empty()) {
        out.push_back("columns not understood: " + listed(schema.unknownColumns) +
                      "; understood: " + schema.understood);
    }
    for (const ChannelCount& channel : channels_) {
        if (channel.values == 0 && rows_ > 0) {
            out.push_back("pin \"" + channel.pin +
                          "\" has no value in any row: its columns are empty or nan");
        } else if (channel.values > 0 && channel.greatestSquare == 0.0) {
            out.push_back("pin \"" + channel.pin + "\" is 0 in every row: is that sensor switched off?");
        }
        if (channel.repeated > 0) {
            out.push_back("pin \"" + channel.pin + "\": in " + counted(channel.repeated, "row") +
                          " without a value its last one was repeated");
        }
    }
    if (partialRows_ > 0) {
        out.push_back("in " + counted(partialRows_, "row") +
                      " some of the pins that go together had no value: none of them was sent there");
    }
    warnOfRates(schema, out);
    warnOfForce(out);
    warnOfTime(out);
    return out;
}

void RecordingStatistics::warnOfRates(const Schema& schema, std::vector<std::string>& out) const {
    const ChannelCount* rate = find("3g");
    if (!rate || rate->values == 0) return;
    const bool isTooHigh = rate->rootMeanSquare() > kImplausibleMeanRate ||
                           rate->greatestSquare > kImplausibleRate * kImplausibleRate;
    if (!isTooHigh && !rates_.isContradicted()) return;
    out.push_back("the gyroscope's rates (" + shortNumber(rate->rootMeanSquare()) +
                  " rad/s in the mean) are too high for " +
                  (isTooHigh ? "rad/s" : "an accelerometer that shows no tilt") +
                  (schema.find("3g")->isUnitDeclared ? "; is the unit given for 3g right?"
                                                     : ": deg/s? Then say so: 3g=deg/s"));
}

void RecordingStatistics::warnOfForce(std::vector<std::string>& out) const {
    const ChannelCount* force = find("3a");
    if (!force || force->values == 0 || force->greatestSquare == 0.0) return;
    const double mean = force->rootMeanSquare();
    if (mean >= kLeastGravity && mean <= kGreatestMeanForce) return;
    const bool couldBeG = mean > 0.5 && mean < kLeastGravity;
    out.push_back("the accelerometer shows " + shortNumber(mean) +
                  " m/s^2 in the mean, which is not gravity" +
                  (couldBeG ? ": g? Then say so: 3a=g" : "; is the unit given for 3a right?"));
}

void RecordingStatistics::warnOfTime(std::vector<std::string>& out) const {
    if (steps_.gaps() > 0) {
        out.push_back(counted(steps_.gaps(), "gap") + " in the time stamps; the longest lasts " +
                      shortNumber(steps_.longest().length) +
                      " s, after t = " + timeStamp(steps_.longest().after) + " s");
    }
    if (steps_.repeats() > 0) {
        out.push_back(counted(steps_.repeats(), "row") + " with the time stamp of the row before");
    }
    if (steps_.usualStep() >= 1.0 && rows_ > 2) {
        out.push_back("the usual step between rows is " + shortNumber(steps_.usualStep()) +
                      " s: is the time in ms or us? Then say so: t=ms");
    }
}

}  // namespace Kavelin::RecordingIO
