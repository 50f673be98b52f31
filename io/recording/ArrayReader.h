#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "io/recording/RowBuilder.h"
#include "io/recording/RowReader.h"
#include "io/recording/TableForm.h"

namespace Kavelin::RecordingIO {

/// A table in memory: columns of equal length, NaN for no value.
struct ArrayTable {
    TableForm form;
    std::vector<std::vector<double>> columns;
};

/// Reads a table in memory row by row, as RecordingReader reads one of text.
class ArrayReader : public RowReader {
public:
    /// Raises Poco::DataFormatException for columns that cannot be used, with the name before it.
    ArrayReader(std::string name, std::shared_ptr<const ArrayTable> table, const ReaderOptions& options);

    const Schema& schema() const override { return schema_; }
    const std::string& name() const override { return name_; }
    Next next() override;
    bool isReady() override { return true; }
    bool mayWait() const override { return false; }
    void close() override {}
    const Row& row() const override { return rows_.row(); }
    Fault fault() const override { return fault_; }
    const std::string& message() const override { return message_; }
    std::uint64_t consumed() const override { return next_; }
    std::uint64_t total() const override { return size_; }

private:
    std::string name_;
    std::shared_ptr<const ArrayTable> table_;
    Schema schema_;
    RowBuilder rows_;
    std::size_t size_ = 0;
    std::size_t next_ = 0;
    Fault fault_ = Fault::kNoTime;
    std::string message_;
};

}  // namespace Kavelin::RecordingIO
