#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "io/recording/RowBuilder.h"
#include "io/recording/Schema.h"

namespace Kavelin::Cli {

/// The rows of a batch, one after another, whatever its payload is.
class BatchRows {
public:
    virtual ~BatchRows() = default;

    /// The columns, as a header names them.
    const std::string& columns() const { return columns_; }
    /// The first rows as lines of text, at most as many as a recording's form is told by.
    virtual std::vector<std::string> firstLines(char separator) const = 0;

    enum class Next { kRow, kRefused, kEnd };
    /// Fills the cells of the next row.
    virtual Next next(const RecordingIO::Schema& schema, RecordingIO::RowBuilder& cells) = 0;
    /// Why the row that `next` came to last is refused.
    const RecordingIO::Refusal& refusal() const { return refusal_; }

protected:
    static constexpr std::size_t kFirstLines = 64;

    std::string columns_;
    RecordingIO::Refusal refusal_;
};

/// Opens a payload of CSV lines or CBOR: an array of rows, each an array of numbers (null: no value), or a map of
/// "columns", an array of names, and "rows". Borrows the payload.
/// @param columns those that are known; empty: the payload names them
/// @throws Poco::DataFormatException for a payload that cannot be read, or names other columns, or none
std::unique_ptr<BatchRows> openBatch(std::string_view payload, const std::string& columns);

/// Names of columns as they are compared: without blanks around them. A line end, a byte order mark are taken off.
/// @throws Poco::DataFormatException for a text that is too long for a header
std::string plainColumns(std::string_view header);

}  // namespace Kavelin::Cli
