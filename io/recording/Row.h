#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kavelin::RecordingIO {

/// One row of a recording: its time and, channel by channel, what it holds.
class Row {
public:
    /// What became of a channel in this row.
    struct Slot {
        std::size_t offset = 0;  ///< of its elements among all
        bool measured = false;   ///< the row itself holds a value
        bool sent = false;       ///< a value goes out
        bool repeated = false;   ///< ... which is an earlier row's
        bool marked = false;     ///< all its cells hold -9999, which stands for no value
        bool isOfRow = true;     ///< its table has a row of this time
    };

    /// s
    double time() const { return time_; }
    bool isMeasured(std::size_t channel) const { return slots_[channel].measured; }
    bool has(std::size_t channel) const { return slots_[channel].sent; }
    bool isMarkedMissing(std::size_t channel) const { return slots_[channel].marked; }
    bool isRepeated(std::size_t channel) const { return slots_[channel].repeated; }
    bool isInTable(std::size_t channel) const { return slots_[channel].isOfRow; }
    /// How many of the channels that must be sent together have a value here. Unless all have, none is sent.
    enum class Share { kNone, kSome, kAll };
    Share together() const { return together_; }
    /// Packets that are missing just before this row, by a counter.
    std::uint64_t lost() const { return lost_; }
    /// The channel's elements, row by row, in the units that leave the reader; valid as long as the row.
    const double* values(std::size_t channel) const { return elements_.data() + slots_[channel].offset; }

private:
    friend class RowBuilder;
    friend class RowPack;
    friend class MergedReader;
    friend class StoredReader;
    friend class MessageReader;

    double time_ = 0.0;
    Share together_ = Share::kNone;
    std::uint64_t lost_ = 0;
    std::vector<double> elements_;
    std::vector<Slot> slots_;
};

}  // namespace Kavelin::RecordingIO
