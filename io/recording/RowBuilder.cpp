#include "io/recording/RowBuilder.h"

#include <fmt/format.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const double kMissing = -9999.0;  // in a whole vector: many loggers write it where they have no value
const double kHalf = 0.70710678118654752;
const Eigen::Quaterniond kEnuFromNwu(kHalf, 0.0, 0.0, kHalf);
const Eigen::Quaterniond kEnuFromNed(0.0, kHalf, kHalf, 0.0);
const double kNaN = std::numeric_limits<double>::quiet_NaN();

bool contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

RowBuilder::RowBuilder(const Schema& schema, const ReaderOptions& options)
    : counter_(schema.counterStep, schema.counterOrigin) {
    isUsed_.assign(schema.columnCount, 0);
    cells_.assign(schema.columnCount, kNaN);
    if (schema.timeColumn) isUsed_[*schema.timeColumn] = 1;
    std::size_t offset = 0;
    for (const Channel& channel : schema.channels) {
        for (const std::size_t column : channel.columns) isUsed_[column] = 1;
        states_.push_back({.repeats = contains(options.repeat, channel.pin),
                           .together = contains(options.together, channel.pin),
                           .isPlain = !channel.isTurned() && channel.signs.empty()});
        row_.slots_.push_back({.offset = offset});
        offset += channel.size();
    }
    row_.elements_.assign(offset, kNaN);
}

RowBuilder::Taken RowBuilder::take(const Schema& schema) {
    std::optional<double> time = timeOf(schema);
    if (!time) return Taken::kBackwards;
    if (delay_ != 0.0) [[unlikely]]
        *time += delay_;
    if (!std::isfinite(*time)) return Taken::kNoTime;
    if (*time < latest_) {
        refusedTime_ = *time;
        return Taken::kBackwards;
    }
    row_.time_ = latest_ = *time;
    takeChannels(schema);
    ++rows_;
    return Taken::kRow;
}

Refusal RowBuilder::refusal(Taken taken) const {
    if (taken == Taken::kNoTime) return {Fault::kNoTime, "the row has no time stamp"};
    return {Fault::kTimeBackwards,
            fmt::format("time runs backwards: {} s after {} s", exactText(refusedTime_), exactText(latest_))};
}

/// s; NaN where the row has none, empty where a counter runs backwards.
std::optional<double> RowBuilder::timeOf(const Schema& schema) {
    row_.lost_ = 0;
    if (schema.isByArrival) {
        row_.lost_ = std::exchange(lost_, 0);
        return arrival_;
    }
    if (!schema.timeColumn) return static_cast<double>(rows_) / schema.rate;
    const double cell = cells_[*schema.timeColumn];
    if (schema.timeKind != TableForm::Time::Kind::kCounter || std::isnan(cell))
        return schema.timeUnit.apply(cell);
    const std::optional<double> way = counter_.add(cell);
    refusedTime_ = schema.timeUnit.apply(cell);
    if (!way) return std::nullopt;
    row_.lost_ = counter_.lost();
    return schema.timeUnit.apply(*way);
}

void RowBuilder::takeChannels(const Schema& schema) {
    bool all = true;
    bool some = false;
    for (std::size_t i = 0; i < states_.size(); ++i) {
        takeChannel(schema.channels[i], states_[i], row_.slots_[i]);
        if (!states_[i].together) continue;
        all &= row_.has(i);
        some |= row_.isMeasured(i);
    }
    row_.together_ = !some ? Row::Share::kNone : all ? Row::Share::kAll : Row::Share::kSome;
    if (all) return;
    for (std::size_t i = 0; i < states_.size(); ++i) {
        if (states_[i].together) row_.slots_[i].sent = false;
    }
}

void RowBuilder::takeChannel(const Channel& channel, ChannelState& state, Row::Slot& slot) {
    bool hasAll = true;
    bool isMarked = channel.columns.size() > 2;
    for (const std::size_t column : channel.columns) {
        hasAll &= !std::isnan(cells_[column]);
        isMarked &= cells_[column] == kMissing;
    }
    slot.marked = isMarked;
    slot.measured = hasAll && !isMarked;
    slot.repeated = !slot.measured && state.repeats && state.seen;
    slot.sent = slot.measured || slot.repeated;
    if (!slot.measured) return;
    state.seen = true;
    double* value = row_.elements_.data() + slot.offset;
    double* const first = value;
    if (!state.isPlain && channel.isTurned()) return takeAttitude(channel, value);
    if (channel.unit.isIdentity()) {
        for (const std::size_t column : channel.columns) *value++ = cells_[column];
    } else {
        for (const std::size_t column : channel.columns) *value++ = channel.unit.apply(cells_[column]);
    }
    if (state.isPlain) return;
    for (std::size_t i = 0; i < channel.signs.size(); ++i) first[i] *= channel.signs[i];
}

/// A quaternion of whatever stands for it in the file.
void RowBuilder::takeAttitude(const Channel& channel, double* value) const {
    const auto cell = [&](std::size_t i) { return cells_[channel.columns[i]]; };
    Eigen::Quaterniond q;
    if (channel.attitude == Channel::Attitude::kMatrix) {
        Eigen::Matrix3d matrix;
        for (std::size_t i = 0; i < 9; ++i)
            matrix(static_cast<Eigen::Index>(i / 3), static_cast<Eigen::Index>(i % 3)) = cell(i);
        q = Eigen::Quaterniond(matrix);
    } else if (channel.attitude == Channel::Attitude::kEuler) {
        q = Eigen::AngleAxisd(channel.unit.apply(cell(2)), Eigen::Vector3d::UnitZ()) *
            Eigen::AngleAxisd(channel.unit.apply(cell(1)), Eigen::Vector3d::UnitY()) *
            Eigen::AngleAxisd(channel.unit.apply(cell(0)), Eigen::Vector3d::UnitX());
    } else {
        q = Eigen::Quaterniond(cell(0), cell(1), cell(2), cell(3));
    }
    if (channel.earth == TableForm::Earth::kNorthWestUp) q = kEnuFromNwu * q;
    if (channel.earth == TableForm::Earth::kNorthEastDown) q = kEnuFromNed * q;
    if (!channel.turn.empty())
        q = q * Eigen::Quaterniond(channel.turn[0], channel.turn[1], channel.turn[2], channel.turn[3]);
    const double elements[] = {q.w(), q.x(), q.y(), q.z()};
    std::copy_n(elements, 4, value);
}

}  // namespace Kavelin::RecordingIO
