#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "io/recording/RecordingStatistics.h"
#include "io/recording/RowBuilder.h"
#include "io/recording/RowReader.h"

namespace Kavelin::RecordingIO {

/// A recording in memory, as its reader gave it: what was measured, and where rows were left out.
class StoredRecording {
public:
    /// The samples of a channel.
    struct Samples {
        /// Of each row of the recording, from these bits.
        enum State : std::uint8_t { kInTable = 1, kMeasured = 2, kMarked = 4 };
        std::vector<std::uint8_t> states;
        std::vector<double> times;   ///< s, of those measured; empty where that is each row
        std::vector<double> values;  ///< of those measured, one after another, row by row
    };
    struct LeftOut {
        std::size_t before = 0;  ///< which row
        Fault fault = Fault::kNoTime;
        std::string message;  ///< empty after the first few of a kind
    };

    /// Reads a recording to its end, or until `goesOn`, which is asked from time to time, says no.
    /// @param reader with options that repeat nothing and send nothing together
    explicit StoredRecording(RowReader& reader, const std::function<bool()>& goesOn = {});

    const std::string& name() const { return name_; }
    const Schema& schema() const { return schema_; }
    const RecordingStatistics& statistics() const { return statistics_; }
    const FaultCounts& faults() const { return faults_; }
    std::size_t rows() const { return times_.size(); }
    const std::vector<double>& times() const { return times_; }  ///< s, of the rows
    /// Of a channel of the schema.
    const Samples& samples(std::size_t channel) const { return samples_[channel]; }
    const std::vector<LeftOut>& leftOut() const { return leftOut_; }
    /// Packets that are missing before a row, where there are some.
    const std::vector<std::pair<std::size_t, std::uint64_t>>& lost() const { return lost_; }

private:
    void add(const Row& row);
    void leaveOut(const RowReader& reader);

    std::string name_;
    Schema schema_;
    RecordingStatistics statistics_;
    FaultCounts faults_;
    std::vector<double> times_;
    std::vector<Samples> samples_;
    std::vector<LeftOut> leftOut_;
    std::vector<std::pair<std::size_t, std::uint64_t>> lost_;
};

/// Gives the rows and faults of a stored recording as its first reader would, had it these options.
class StoredReader : public RowReader {
public:
    /// @param options of which `repeat` and `together` count; the others have had their effect
    StoredReader(std::shared_ptr<const StoredRecording> recording, const ReaderOptions& options);

    const Schema& schema() const override { return recording_->schema(); }
    const std::string& name() const override { return recording_->name(); }
    Next next() override;
    bool isReady() override { return true; }
    bool mayWait() const override { return false; }
    void close() override {}
    const Row& row() const override { return row_; }
    Fault fault() const override { return recording_->leftOut()[faults_ - 1].fault; }
    const std::string& message() const override { return recording_->leftOut()[faults_ - 1].message; }
    std::uint64_t consumed() const override { return next_; }
    std::uint64_t total() const override { return recording_->rows(); }

private:
    /// What the options ask of a channel, and how far it is.
    struct Lane {
        bool repeats = false;
        bool together = false;
        bool seen = false;
        std::size_t taken = 0;  // elements
    };

    void take(std::size_t channel);
    void join(std::size_t clock);

    std::shared_ptr<const StoredRecording> recording_;
    std::vector<Lane> lanes_;
    Row row_;
    std::size_t clocks_ = 0;
    std::size_t next_ = 0;
    std::size_t faults_ = 0;
    std::size_t lost_ = 0;
};

}  // namespace Kavelin::RecordingIO
