#include "io/recording/MergedReader.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

void append(std::vector<std::string>& to, const std::vector<std::string>& more) {
    for (const std::string& text : more) {
        if (std::ranges::find(to, text) == to.end()) to.push_back(text);
    }
}

}  // namespace

MergedReader::MergedReader(std::string name, std::vector<std::unique_ptr<RowReader>> readers)
    : name_(std::move(name)) {
    for (std::unique_ptr<RowReader>& reader : readers) {
        Source& source = sources_.emplace_back();
        source.reader = std::move(reader);
        addChannels(source);
    }
    std::vector<std::string> understood;
    for (const Source& source : sources_) {
        const Schema& one = source.reader->schema();
        understood.push_back(one.understood);
        append(schema_.notes, one.notes);
        append(schema_.decisions, one.decisions);
        append(schema_.unknownColumns, one.unknownColumns);
        schema_.origin = std::max(schema_.origin, one.origin);
    }
    schema_.tables = sources_.size();
    schema_.understood = listed(understood, understood.size());
    schema_.timeColumn = sources_.front().reader->schema().timeColumn;
    schema_.timeUnit = sources_.front().reader->schema().timeUnit;
    schema_.isTimeUnitDeclared = true;
}

void MergedReader::addChannels(Source& source) {
    const std::size_t firstClock = clocks_++;
    for (const Channel& channel : source.reader->schema().channels) {
        if (schema_.find(channel.pin)) {
            source.slots.push_back(kLeftOut);
            schema_.notes.push_back(source.reader->name() + ": pin \"" + channel.pin +
                                    "\" is another file's already and is left out");
            continue;
        }
        source.slots.push_back(schema_.channels.size());
        row_.slots_.push_back({.offset = row_.elements_.size()});
        row_.elements_.resize(row_.elements_.size() + channel.size());
        schema_.channels.push_back(channel);
        schema_.channels.back().clock += firstClock;
        clocks_ = std::max(clocks_, schema_.channels.back().clock + 1);
    }
}

void MergedReader::belongsToOneOfSeveral() {
    if (schema_.origin == Schema::Origin::kFirstRow) schema_.origin = Schema::Origin::kFirstRowOfSensor;
}

void MergedReader::prepend(const std::vector<std::string>& decisions, const std::vector<std::string>& notes) {
    schema_.decisions.insert(schema_.decisions.begin(), decisions.begin(), decisions.end());
    schema_.notes.insert(schema_.notes.begin(), notes.begin(), notes.end());
}

MergedReader::Next MergedReader::next() {
    double earliest = std::numeric_limits<double>::infinity();
    for (Source& source : sources_) {
        if (!source.hasRow && !source.ended) {
            const Next next = source.reader->next();
            if (next == Next::kFault) {
                fault_ = source.reader->fault();
                message_ = source.reader->message();
                return Next::kFault;
            }
            source.hasRow = next == Next::kRow;
            source.ended = next == Next::kEnd;
        }
        if (source.hasRow) earliest = std::min(earliest, source.reader->row().time());
    }
    if (earliest == std::numeric_limits<double>::infinity()) return Next::kEnd;
    row_.time_ = earliest;
    row_.lost_ = 0;
    row_.together_ = Row::Share::kNone;
    for (Row::Slot& slot : row_.slots_) slot = {.offset = slot.offset, .isOfRow = false};
    for (Source& source : sources_) {
        if (!source.hasRow || source.reader->row().time() != earliest) continue;
        takeRow(source);
        source.hasRow = false;
    }
    return Next::kRow;
}

void MergedReader::takeRow(const Source& source) {
    const Row& row = source.reader->row();
    row_.lost_ += row.lost();
    // Pins of tables with clocks of their own are never together.
    if (sources_.size() == 1) row_.together_ = row.together();
    for (std::size_t i = 0; i < source.slots.size(); ++i) {
        if (source.slots[i] == kLeftOut) continue;
        Row::Slot& slot = row_.slots_[source.slots[i]];
        const std::size_t offset = slot.offset;
        slot = row.slots_[i];
        slot.offset = offset;
        const std::size_t size = schema_.channels[source.slots[i]].size();
        std::copy_n(row.values(i), size, row_.elements_.data() + offset);
    }
}

void MergedReader::close() {
    for (const Source& source : sources_) source.reader->close();
}

std::uint64_t MergedReader::consumed() const {
    return std::accumulate(
        sources_.begin(), sources_.end(), std::uint64_t{0},
        [](std::uint64_t sum, const Source& source) { return sum + source.reader->consumed(); });
}

std::uint64_t MergedReader::total() const {
    return std::accumulate(
        sources_.begin(), sources_.end(), std::uint64_t{0},
        [](std::uint64_t sum, const Source& source) { return sum + source.reader->total(); });
}

}  // namespace Kavelin::RecordingIO
