#pragma once

#include <memory>
#include <string>
#include <vector>

#include "io/recording/RowReader.h"

namespace Kavelin::RecordingIO {

/// Reads tables with time stamps of their own as one recording: their rows in the order of their times, those
/// of one time as one row. Each table's channels follow a clock of their own.
class MergedReader : public RowReader {
public:
    /// @param readers of one recording, at least one; the pins of a later one that an earlier one has are left
    /// out
    MergedReader(std::string name, std::vector<std::unique_ptr<RowReader>> readers);

    /// Says that the recording's other sensors have tables of their own.
    void belongsToOneOfSeveral();
    /// Adds what is known of the whole recording to the schema, before what its tables say.
    void prepend(const std::vector<std::string>& decisions, const std::vector<std::string>& notes);

    const Schema& schema() const override { return schema_; }
    const std::string& name() const override { return name_; }
    Next next() override;
    bool isReady() override { return true; }
    bool mayWait() const override { return false; }
    void close() override;
    const Row& row() const override { return row_; }
    Fault fault() const override { return fault_; }
    const std::string& message() const override { return message_; }
    std::uint64_t consumed() const override;
    std::uint64_t total() const override;

private:
    struct Source {
        std::unique_ptr<RowReader> reader;
        /// Of each of its channels: which one of the merged row; those left out have none.
        std::vector<std::size_t> slots;
        bool hasRow = false;
        bool ended = false;
    };
    static constexpr std::size_t kLeftOut = static_cast<std::size_t>(-1);

    void addChannels(Source& source);
    void takeRow(const Source& source);

    std::string name_;
    std::vector<Source> sources_;
    std::size_t clocks_ = 0;
    Schema schema_;
    Row row_;
    Fault fault_ = Fault::kNotANumber;
    std::string message_;
};

}  // namespace Kavelin::RecordingIO
