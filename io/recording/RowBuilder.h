#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "io/recording/Fault.h"
#include "io/recording/PacketCounter.h"
#include "io/recording/Row.h"
#include "io/recording/Schema.h"

namespace Kavelin::RecordingIO {

struct ReaderOptions : SchemaOptions {
    /// Pins whose missing values are replaced by their last one, stamped with the row's time.
    std::vector<std::string> repeat;
    /// Pins that are sent only in rows that hold a value for all of them.
    std::vector<std::string> together;
    Dialect dialect;
};

/// Makes rows of the cells of a table: their time, and the channels in the units that leave the reader.
class RowBuilder {
public:
    RowBuilder() = default;
    RowBuilder(const Schema& schema, const ReaderOptions& options);

    /// By column: whether its cells are wanted, and where they go; NaN for no value.
    bool isUsed(std::size_t column) const { return isUsed_[column] != 0; }
    double& cell(std::size_t column) { return cells_[column]; }
    std::size_t columns() const { return cells_.size(); }

    /// s; the time of the next row, where the schema's rows have that of their arrival.
    /// @param lost rows before it that have none
    void setArrival(double time, std::uint64_t lost) {
        arrival_ = time;
        lost_ = lost;
    }
    /// s; the next row must not be earlier than this, where rows of other tables come in between.
    void follow(double time) { latest_ = std::max(latest_, time); }
    /// s; how much later, from the next row on, than its cells say: for a device whose clock began again.
    void setDelay(double delay) { delay_ = delay; }
    double delay() const { return delay_; }
    /// s; that of the cells which were not made a row, and that of the row before.
    double refusedTime() const { return refusedTime_; }
    double latestTime() const { return latest_; }

    enum class Taken { kRow, kNoTime, kBackwards };
    /// Makes the next row of the cells. What is not a row leaves everything as it was.
    /// @param schema the one of the constructor
    Taken take(const Schema& schema);
    const Row& row() const { return row_; }
    /// Why the cells were not made a row.
    Refusal refusal(Taken taken) const;
    std::uint64_t rows() const { return rows_; }

    /// Gives or takes the whole state, for a snapshot: of a builder with the same schema and options.
    template <class Archive>
    void serialize(Archive& archive) {
        for (ChannelState& state : states_) archive(state.seen);
        for (double& element : row_.elements_) archive(element);  // of values that are repeated
        archive(counter_, arrival_, lost_, delay_, latest_, rows_);
    }

private:
    struct ChannelState {
        bool repeats = false;   // as the options ask
        bool together = false;  // as the options ask
        bool isPlain = true;    // neither turned nor with other signs
        bool seen = false;      // a row held a value
    };

    std::optional<double> timeOf(const Schema& schema);
    void takeChannels(const Schema& schema);
    void takeChannel(const Channel& channel, ChannelState& state, Row::Slot& slot);
    void takeAttitude(const Channel& channel, double* value) const;

    std::vector<char> isUsed_;   // by column; not of bool, whose bits cost more than the rest of the look
    std::vector<double> cells_;  // by column; only those in use are written
    std::vector<ChannelState> states_;
    PacketCounter counter_{0.0};
    Row row_;
    double arrival_ = 0.0;
    std::uint64_t lost_ = 0;
    double delay_ = 0.0;
    double latest_ = -std::numeric_limits<double>::infinity();
    double refusedTime_ = 0.0;
    std::uint64_t rows_ = 0;
};

}  // namespace Kavelin::RecordingIO
