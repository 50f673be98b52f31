#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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
    bool isUsed(std::size_t column) const { return isUsed_[column]; }
    double& cell(std::size_t column) { return cells_[column]; }
    std::size_t columns() const { return cells_.size(); }

    enum class Taken { kRow, kNoTime, kBackwards };
    /// Makes the next row of the cells. What is not a row leaves everything as it was.
    /// @param schema the one of the constructor
    Taken take(const Schema& schema);
    const Row& row() const { return row_; }
    /// "time runs backwards: 1 s after 2 s": of what was not made a row.
    std::string backwardsText() const;
    std::uint64_t rows() const { return rows_; }

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

    std::vector<bool> isUsed_;   // by column
    std::vector<double> cells_;  // by column; only those in use are written
    std::vector<ChannelState> states_;
    PacketCounter counter_{0.0};
    Row row_;
    double latest_ = 0.0;
    double refusedTime_ = 0.0;
    std::uint64_t rows_ = 0;
};

}  // namespace Kavelin::RecordingIO
