#include "io/recording/StoredRecording.h"

#include <algorithm>
#include <limits>

namespace Kavelin::RecordingIO {

namespace {

const std::uint64_t kMessagesOfAKind = 16;  // more than a run shows
const std::size_t kRowsBetweenLooks = 4096;
const double kNaN = std::numeric_limits<double>::quiet_NaN();

using State = StoredRecording::Samples::State;

}  // namespace

StoredRecording::StoredRecording(RowReader& reader, const std::function<bool()>& goesOn)
    : name_(reader.name()),
      schema_(reader.schema()),
      statistics_(schema_),
      samples_(schema_.channels.size()) {
    for (std::size_t looks = 1;; ++looks) {
        if (goesOn && looks % kRowsBetweenLooks == 0 && !goesOn()) break;
        const RowReader::Next next = reader.next();
        if (next == RowReader::Next::kEnd) break;
        if (next == RowReader::Next::kRow)
            add(reader.row());
        else
            leaveOut(reader);
    }
    statistics_.finish();
    for (Samples& samples : samples_) {
        samples.values.shrink_to_fit();
        if (samples.times.size() == times_.size()) samples.times = {};
        samples.times.shrink_to_fit();
    }
}

void StoredRecording::add(const Row& row) {
    statistics_.add(row);
    if (row.lost() > 0) lost_.emplace_back(rows(), row.lost());
    times_.push_back(row.time());
    for (std::size_t i = 0; i < samples_.size(); ++i) {
        Samples& samples = samples_[i];
        const bool isMeasured = row.isMeasured(i);
        samples.states.push_back(static_cast<std::uint8_t>((row.isInTable(i) ? State::kInTable : 0) |
                                                           (isMeasured ? State::kMeasured : 0) |
                                                           (row.isMarkedMissing(i) ? State::kMarked : 0)));
        if (!isMeasured) continue;
        samples.times.push_back(row.time());
        const double* const value = row.values(i);
        samples.values.insert(samples.values.end(), value, value + schema_.channels[i].size());
    }
}

void StoredRecording::leaveOut(const RowReader& reader) {
    const bool isTold = faults_.add(reader.fault()) <= kMessagesOfAKind;
    leftOut_.push_back({rows(), reader.fault(), isTold ? reader.message() : std::string()});
}

StoredReader::StoredReader(std::shared_ptr<const StoredRecording> recording, const ReaderOptions& options)
    : recording_(std::move(recording)) {
    const auto isIn = [](const std::vector<std::string>& names, const std::string& name) {
        return std::ranges::find(names, name) != names.end();
    };
    std::size_t offset = 0;
    for (const Channel& channel : schema().channels) {
        lanes_.push_back(
            {.repeats = isIn(options.repeat, channel.pin), .together = isIn(options.together, channel.pin)});
        row_.slots_.push_back({.offset = offset});
        offset += channel.size();
        clocks_ = std::max(clocks_, channel.clock + 1);
    }
    row_.elements_.assign(offset, kNaN);
}

StoredReader::Next StoredReader::next() {
    const auto& leftOut = recording_->leftOut();
    if (faults_ < leftOut.size() && leftOut[faults_].before == next_) {
        ++faults_;
        return Next::kFault;
    }
    if (next_ == recording_->rows()) return Next::kEnd;
    row_.time_ = recording_->times()[next_];
    row_.lost_ = 0;
    row_.together_ = Row::Share::kNone;
    const auto& lost = recording_->lost();
    if (lost_ < lost.size() && lost[lost_].first == next_) row_.lost_ = lost[lost_++].second;
    for (std::size_t i = 0; i < lanes_.size(); ++i) take(i);
    for (std::size_t clock = 0; clock < clocks_; ++clock) join(clock);
    ++next_;
    return Next::kRow;
}

void StoredReader::take(std::size_t channel) {
    const StoredRecording::Samples& samples = recording_->samples(channel);
    Lane& lane = lanes_[channel];
    Row::Slot& slot = row_.slots_[channel];
    const std::uint8_t state = samples.states[next_];
    slot.isOfRow = (state & State::kInTable) != 0;
    slot.measured = (state & State::kMeasured) != 0;
    slot.marked = (state & State::kMarked) != 0;
    slot.repeated = slot.isOfRow && !slot.measured && lane.repeats && lane.seen;
    slot.sent = slot.measured || slot.repeated;
    if (!slot.measured) return;
    lane.seen = true;
    const std::size_t size = schema().channels[channel].size();
    std::copy_n(samples.values.data() + lane.taken, size, row_.elements_.data() + slot.offset);
    lane.taken += size;
}

/// Of one table: pins that must be sent together, and are not all there, are not sent.
void StoredReader::join(std::size_t clock) {
    bool all = true;
    bool some = false;
    const auto each = [&](auto act) {
        for (std::size_t i = 0; i < lanes_.size(); ++i)
            if (lanes_[i].together && schema().channels[i].clock == clock) act(i);
    };
    each([&](std::size_t i) {
        all &= row_.has(i);
        some |= row_.isMeasured(i);
    });
    // Pins of tables with clocks of their own are never together.
    if (schema().tables == 1)
        row_.together_ = !some ? Row::Share::kNone : all ? Row::Share::kAll : Row::Share::kSome;
    if (!all) each([&](std::size_t i) { row_.slots_[i].sent = false; });
}

}  // namespace Kavelin::RecordingIO
