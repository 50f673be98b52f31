#include "io/recording/RecordingStatistics.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "attitude/rotation/AngleConstants.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

// A hand turns a unit at 1 to 3 rad/s on average, and at 35 rad/s (2000 deg/s, the end of most gyroscopes'
// range) at most.
const double kImplausibleMeanRate = 10.0;  // rad/s, root mean square
const double kImplausibleRate = 80.0;      // rad/s, a single sample
const double kLeastGravity = 5.0;          // m/s^2, root mean square of the specific force
const double kGreatestMeanForce = 60.0;    // m/s^2
const double kBeyondGyroscopes = 40.0;     // rad/s, root mean square: whatever the declared unit
const double kLongestStep = 2.0;           // s, of a recording that has rates
const double kLongestUndeclared = 1.0;     // s, the same where no unit of the time is given
const double kEndsEarly = 0.1;             // of the time
const double kShortestStep = 1e-5;         // s
const std::uint64_t kRowsAGlance = 16;     // at the sign of gravity
const double kClearlyUpwards = -20.0;      // degrees, of the field's dip
const std::uint64_t kFewestRows = 10;      // to judge by their usual step
const std::uint64_t kEnoughRows = 20;      // for more than a suspicion

/// Index of the channel with so many elements for a pin; the number of channels where there is none.
std::size_t indexOf(const Schema& schema, std::string_view pin, std::size_t size) {
    const auto found = std::find_if(
        schema.channels.begin(), schema.channels.end(),
        [pin, size](const Channel& channel) { return channel.pin == pin && channel.size() == size; });
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
      accelerationIndex_(indexOf(schema, "3a", 3)),
      rateIndex_(indexOf(schema, "3g", 3)),
      fieldIndex_(indexOf(schema, "3m", 3)),
      attitudeIndex_(indexOf(schema, "quat", 4)),
      stepIndex_(schema.channels.size()) {
    // Tables with clocks of their own have rows between each other's.
    const bool hasClocks =
        std::ranges::any_of(schema.channels, [](const Channel& channel) { return channel.clock > 0; });
    if (hasClocks) stepIndex_ = rateIndex_ < channels_.size() ? rateIndex_ : accelerationIndex_;
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        channels_[i].pin = schema.channels[i].pin;
        channels_[i].size = schema.channels[i].size();
    }
}

void RecordingStatistics::add(const Row& row) {
    const double time = row.time();
    if (rows_++ == 0) firstTime_ = time;
    lastTime_ = time;
    if (stepIndex_ >= channels_.size() || row.isMeasured(stepIndex_)) steps_.add(time);
    lost_ += row.lost();
    if (row.together() == Row::Share::kSome) ++partialRows_;
    if (row.together() == Row::Share::kAll) ++completeRows_;
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        ChannelCount& channel = channels_[i];
        if (!row.isMeasured(i)) [[unlikely]] {
            if (row.has(i) && row.isRepeated(i)) ++channel.repeated;
            if (row.isMarkedMissing(i)) ++channel.marked;
            continue;
        }
        const double* value = row.values(i);
        double square = 0.0;
        for (std::size_t e = 0; e < channel.size; ++e) square += value[e] * value[e];
        if (channel.values++ == 0) channel.first = time;
        channel.last = time;
        channel.sumOfSquares += square;
        if (square > 0.49 && square < 1.96) ++channel.nearOne;
        if (square < 0.16) ++channel.nearZero;
        if (square == 0.0) ++channel.zeros;
        channel.greatestSquare = std::max(channel.greatestSquare, square);
    }
    if (rateIndex_ < channels_.size() && row.isMeasured(rateIndex_))
        clipping_.add(Eigen::Vector3d(row.values(rateIndex_)));
    if (accelerationIndex_ >= channels_.size()) return;
    const bool isMeasured = row.isMeasured(accelerationIndex_);
    if (isMeasured) acceleration_ = Eigen::Vector3d(row.values(accelerationIndex_));
    watchGravity(row);
    if (rateIndex_ >= channels_.size()) return;
    // With a clock of its own, the acceleration is the newest one.
    if (!row.isMeasured(rateIndex_) || (!isMeasured && stepIndex_ >= channels_.size()) ||
        !acceleration_.allFinite())
        return;
    rates_.add(time, acceleration_, Eigen::Vector3d(row.values(rateIndex_)));
}

/// Against the newest acceleration; a part of the rows is enough.
void RecordingStatistics::watchGravity(const Row& row) {
    if (rows_ % kRowsAGlance != 0 && rows_ > kEnoughRows) return;
    if (!acceleration_.allFinite()) return;
    if (fieldIndex_ < channels_.size() && row.isMeasured(fieldIndex_))
        gravity_.addField(acceleration_, Eigen::Vector3d(row.values(fieldIndex_)));
    if (attitudeIndex_ >= channels_.size() || !row.isMeasured(attitudeIndex_)) return;
    const double* q = row.values(attitudeIndex_);
    gravity_.addAttitude(acceleration_, {q[0], q[1], q[2], q[3]});
}

double RecordingStatistics::rate() const {
    return seconds() > 0.0 ? static_cast<double>(rows_ - 1) / seconds() : 0.0;
}

const RecordingStatistics::ChannelCount* RecordingStatistics::find(std::string_view pin) const {
    const auto found = std::ranges::find(channels_, pin, &ChannelCount::pin);
    return found == channels_.end() ? nullptr : &*found;
}

std::vector<std::string> RecordingStatistics::warnings(const Schema& schema) const {
    std::vector<std::string> out = schema.notes;
    if (!schema.unknownColumns.empty()) {
        out.push_back("columns not understood: " + listed(schema.unknownColumns) +
                      "; understood: " + schema.understood);
    }
    warnOfChannels(out);
    if (partialRows_ > 0) {
        out.push_back("in " + counted(partialRows_, "row") +
                      " some of the pins that go together had no value: none of them was sent there");
    }
    if (clipping_.level() > 0.0) {
        out.push_back(fmt::format(
            "the gyroscope is at the end of its range, {:.3g} deg/s, in {}: what it turned beyond that is "
            "lost",
            clipping_.level() * OrientationInternal::kRadiansToDegrees, counted(clipping_.clipped(), "row")));
    }
    if (const ChannelCount* force = find("3a"); force && force->looksLikeGravityInG()) {
        if (const double mean = force->rootMeanSquare(); mean < kLeastGravity) {
            out.push_back(
                fmt::format("the accelerometer shows {:.3g} m/s^2 in the mean, which is not gravity: g? Then "
                            "say so: 3a=g",
                            mean));
        }
    }
    warnOfSteps(out);
    if (rows_ < kEnoughRows) {
        for (const std::string& suspicion : suspicions(schema)) out.push_back(suspicion);
    }
    return out;
}

void RecordingStatistics::warnOfChannels(std::vector<std::string>& out) const {
    for (const ChannelCount& channel : channels_) {
        const std::string pin = "pin \"" + channel.pin + "\"";
        if (channel.marked > 0) {
            out.push_back(pin + ": in " + counted(channel.marked, "row") +
                          " all its cells are -9999, which was taken for no value");
        }
        if (channel.values == 0 && rows_ > 0) {
            out.push_back(pin + " has no value in any row" +
                          (channel.marked > 0 ? "" : ": its columns are empty or nan"));
        } else if (channel.values > 0 && channel.greatestSquare == 0.0) {
            out.push_back(pin + " is 0 in every row: is that sensor switched off?");
        }
        if (channel.zeros > 0 && channel.greatestSquare > 0.0 && channel.pin == "3a") {
            out.push_back(pin + " is 0, 0, 0 in " + counted(channel.zeros, "row") +
                          ", which no accelerometer shows: leave the cells of a missing value empty");
        }
        if (channel.values > 0 && lastTime_ - channel.last > std::max(1.0, kEndsEarly * seconds())) {
            out.push_back(fmt::format("{} ends at t = {} s, {:.0f} % of the time before the recording does",
                                      pin, exactText(channel.last),
                                      100.0 * (lastTime_ - channel.last) / seconds()));
        }
        if (channel.repeated > 0) {
            out.push_back(pin + ": in " + counted(channel.repeated, "row") +
                          " without a value its last one was repeated");
        }
    }
}

std::string RecordingStatistics::warningOfField() const {
    const double dip = gravity_.dip();
    if (!(dip < kClearlyUpwards)) return {};
    return fmt::format(
        "the field points up by {:.0f} degrees, if the acceleration points up at rest: right in the southern "
        "hemisphere; in the northern, the acceleration has the opposite sign: 3a = inverted (--axes)",
        -dip);
}

void RecordingStatistics::warnOfSteps(std::vector<std::string>& out) const {
    if (steps_.gaps() > 0) {
        out.push_back(fmt::format("{} in the time stamps; the longest lasts {:.3g} s, after t = {} s",
                                  counted(steps_.gaps(), "gap"), steps_.longest().length,
                                  exactText(steps_.longest().after)));
    }
    if (steps_.repeats() > 0) {
        out.push_back(counted(steps_.repeats(), "row") + " with the time stamp of the row before");
    }
}

std::vector<std::string> RecordingStatistics::errors(const Schema& schema) const {
    return rows_ < kEnoughRows ? std::vector<std::string>{} : suspicions(schema);
}

std::vector<std::string> RecordingStatistics::suspicions(const Schema& schema) const {
    std::vector<std::string> out;
    if (hasWrongTime(schema)) out.push_back(aboutTime(schema));
    if (hasWrongRates(schema)) out.push_back(aboutRates(schema));
    const ChannelCount* force = find("3a");
    if (!force || force->values == 0 || force->greatestSquare == 0.0) return out;
    const double mean = force->rootMeanSquare();
    const bool isTooSmall = mean < kLeastGravity && !force->looksLikeGravityInG();
    if (isTooSmall || mean > kGreatestMeanForce) out.push_back(aboutForce(schema, *force));
    return out;
}

bool RecordingStatistics::hasWrongTime(const Schema& schema) const {
    const double step = steps_.usualStep();
    if (rows_ < kFewestRows || step == 0.0) return false;
    const double longest = schema.isTimeUnitDeclared ? kLongestStep : kLongestUndeclared;
    return step < kShortestStep || (step >= longest && rateIndex_ < channels_.size());
}

/// The unit that brings the rate of the rows nearest to 100 Hz, which is where most units are.
std::string RecordingStatistics::aboutTime(const Schema& schema) const {
    const double step = steps_.usualStep();
    const double inFile = step * schema.timeUnit.divide / schema.timeUnit.multiply;
    std::string best;
    double least = std::abs(std::log(step * 100.0)) - 1e-9;  // of the unit in force
    for (const char* name : {"s", "ms", "us", "ns"}) {
        const double distance = std::abs(std::log(findUnit(Quantity::kTime, name)->apply(inFile) * 100.0));
        if (distance >= least) continue;
        best = name;
        least = distance;
    }
    const std::string text =
        fmt::format("the usual step between rows is {:.3g} s{}", step,
                    schema.isTimeUnitDeclared ? ", by the unit that is given for t" : "");
    if (best.empty()) return text + ": no unit makes that a rate of a sensor; is that column the time?";
    return text + ": is the time in " + best + "? Then say so: t=" + best;
}

bool RecordingStatistics::hasWrongRates(const Schema& schema) const {
    const ChannelCount* rate = find("3g");
    if (!rate || rate->values == 0) return false;
    const double mean = rate->rootMeanSquare();
    if (schema.find("3g")->isUnitDeclared) return mean > kBeyondGyroscopes || rates_.isContradicted();
    return mean > kImplausibleMeanRate || rate->greatestSquare > kImplausibleRate * kImplausibleRate ||
           rates_.isContradicted();
}

std::string RecordingStatistics::aboutRates(const Schema& schema) const {
    const ChannelCount& rate = *find("3g");
    const double mean = rate.rootMeanSquare();
    const bool isTooHigh =
        mean > kImplausibleMeanRate || rate.greatestSquare > kImplausibleRate * kImplausibleRate;
    const bool isRaw = mean > kBeyondGyroscopes * OrientationInternal::kRadiansToDegrees;
    const std::string text =
        fmt::format("the gyroscope's rates ({:.3g} rad/s in the mean) are too high for {}", mean,
                    isTooHigh ? "rad/s" : "an accelerometer that shows no tilt");
    if (isRaw) return text + ": are they raw counts? Then divide them by the sensor's sensitivity first";
    return text + (schema.find("3g")->isUnitDeclared ? "; is the unit given for 3g right?"
                                                     : ": deg/s? Then say so: 3g=deg/s");
}

std::string RecordingStatistics::aboutForce(const Schema& schema, const ChannelCount& force) const {
    const double mean = force.rootMeanSquare();
    const std::string text =
        fmt::format("the accelerometer shows {:.3g} m/s^2 in the mean, which is not gravity", mean);
    if (schema.find("3a")->isUnitDeclared) return text + "; is the unit given for 3a right?";
    if (mean > kGreatestMeanForce) {
        return text + ": mg (3a=mg), or raw counts? Divide those by the sensor's sensitivity first";
    }
    return text +
           ": is it linear acceleration, without gravity? No orientation can be told from that; take "
           "the columns, or the file, of the acceleration with gravity";
}

}  // namespace Kavelin::RecordingIO
