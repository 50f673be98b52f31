#pragma once

#include <cstddef>
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

/// A table whose numbers lie where somebody else keeps them; NaN for no value.
struct ArrayView {
    /// Numbers `step` doubles apart.
    struct Column {
        const double* first = nullptr;
        std::ptrdiff_t step = 1;
    };
    TableForm form;
    std::vector<Column> columns;
    std::size_t rows = 0;
    std::shared_ptr<const void> owner;  ///< keeps the numbers; null: they outlive the reader

    static ArrayView of(const ArrayTable& table);
};

/// Chooses which column of a table in memory is the time, and its unit, as for a table of text with these numbers.
/// Raises Poco::DataFormatException.
void chooseTime(ArrayView& table, const ReaderOptions& options);

/// Reads a table in memory row by row, as RecordingReader reads one of text: a row with an infinite value is a fault.
class ArrayReader : public RowReader {
public:
    /// Raises Poco::DataFormatException for columns that cannot be used, with the name before it.
    ArrayReader(std::string name, ArrayView table, const ReaderOptions& options);
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
    std::uint64_t total() const override { return table_.rows; }

private:
    bool takeCells();
    Next refuse(const Refusal& refusal);

    std::string name_;
    ArrayView table_;
    Schema schema_;
    RowBuilder rows_;
    std::size_t next_ = 0;
    Fault fault_ = Fault::kNoTime;
    std::string message_;
};

}  // namespace Kavelin::RecordingIO
