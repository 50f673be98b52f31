#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "io/recording/NumberText.h"

namespace Kavelin::RecordingIO {

/// The ending of the name, in lower case, where it is that of a format other than a table of text (.npy, .h5,
/// .gz and others): readers would take the table for that format. Empty for all others.
std::string foreignEnding(const std::string& path);

/// Raises Poco::InvalidArgumentException where the name has such an ending.
void requireTableName(const std::string& path);

/// Writes a table of numbers, row by row, in constant memory. The rows go to `PATH.part`, which takes the
/// name PATH when it is complete, so a reader of PATH never sees half of it. "-" is standard output; an
/// existing path that is not an ordinary file (a pipe, a device) is written directly.
class ResultFile {
public:
    /// Raises Poco::CreateFileException with the path and the system's reason.
    explicit ResultFile(const std::string& path);
    ResultFile(const ResultFile&) = delete;
    ResultFile& operator=(const ResultFile&) = delete;
    /// Keeps the rows done, as `finish` does; a failure then is lost.
    ~ResultFile();

    /// Makes sure that a ResultFile of that path could be made, without making one: an existing file stays as
    /// it is. Raises as the constructor.
    static void requireWritable(const std::string& path);

    /// Writes the line of column names, or several lines, without the last line feed; before the first row.
    void header(std::string_view names);
    /// Appends text as it stands, within a row.
    void text(std::string_view text);
    /// Appends a number in shortest round-trip form, or "nan", "inf", "-inf".
    void number(double value) {
        reserve(kLongestNumber);
        used_ = static_cast<std::size_t>(writeNumber(buffer_.data() + used_, value) - buffer_.data());
    }
    /// Appends further cells of a row, each a separator and a number.
    void cells(const double* values, std::size_t count) {
        reserve(count * (1 + kLongestNumber));
        char* at = buffer_.data() + used_;
        for (std::size_t i = 0; i < count; ++i) {
            *at++ = ',';
            at = writeNumber(at, values[i]);
        }
        used_ = static_cast<std::size_t>(at - buffer_.data());
    }
    /// The same for cells without a value.
    void emptyCells(std::size_t count) {
        reserve(count);
        std::fill_n(buffer_.data() + used_, count, ',');
        used_ += count;
    }
    /// Ends a row; now and then writes a block.  Raises Poco::WriteFileException as `finish` does.
    void endRow();
    /// Writes the rows ended so far; not within a row.  Raises as `endRow`.
    void flush();
    /// Deletes everything written to an ordinary file: the header comes next. Raises as `endRow`.
    void restart();

    /// Writes the rest and gives the file its name. Raises Poco::WriteFileException when the disk is full or
    /// the file cannot be written; the complete rows that fitted are then kept under PATH,
    /// and `rows` counts them.
    void finish();

    /// Rows ended; after a failure, rows kept.
    std::uint64_t rows() const { return rows_; }
    const std::string& path() const { return path_; }
    /// Whether the result is an ordinary file, that may be read and replaced once it is complete.
    bool isReplaceable() const { return !temporary_.empty(); }
    /// Whether a reader may be waiting for each row: a pipe, a terminal, a socket, a device.
    bool isLive() const { return isLive_; }

private:
    static constexpr std::size_t kBlockSize = std::size_t{1} << 17;

    void reserve(std::size_t size) {
        if (buffer_.size() - used_ < size) [[unlikely]]
            buffer_.resize(2 * buffer_.size() + size);
    }
    [[noreturn]] void fail(int error);
    void close();

    std::string path_;
    std::string target_;     // where the result ends up: `path_` with links resolved
    std::string temporary_;  // empty: written directly
    int fd_ = -1;
    bool isLive_ = false;
    std::vector<char> buffer_;
    std::size_t used_ = 0;
    std::size_t lastRowEnd_ = 0;  // in the buffer
    std::uint64_t rows_ = 0;
    std::uint64_t rowsWritten_ = 0;
    std::uint64_t headerLines_ = 0;  // in the buffer
    std::uint64_t bytesWritten_ = 0;
};

}  // namespace Kavelin::RecordingIO
