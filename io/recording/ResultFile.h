#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "io/recording/RowText.h"

namespace Kavelin::RecordingIO {

/// The ending of the name, in lower case, where it is that of a format other than a table of text (.npy, .h5,
/// .gz and others): readers would take the table for that format. Empty for all others.
std::string foreignEnding(const std::string& path);

/// Raises Poco::InvalidArgumentException where the name has such an ending.
void requireTableName(const std::string& path);

/// How far an unfinished result had come, for a program that goes on with it.
struct ResultPlace {
    std::uint64_t bytes = 0;
    std::uint64_t rows = 0;
    std::uint32_t sum = 0;  ///< checksum of those bytes
    bool operator==(const ResultPlace&) const = default;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(bytes, rows, sum);
    }
};

/// Writes a table of numbers, row by row, in constant memory. The rows go to `PATH.part`, which takes the
/// name PATH when it is complete, so a reader of PATH never sees half of it. "-" is standard output; an
/// existing path that is not an ordinary file (a pipe, a device) is written directly.
class ResultFile {
public:
    /// Raises Poco::CreateFileException with the path and the system's reason.
    explicit ResultFile(const std::string& path);
    /// Goes on with an unfinished result, or with a finished one, behind `place`; what follows there is cut off. Where
    /// nothing had been written the unfinished one is begun anew.
    /// Raises as `requireContinuable`, and as the other.
    ResultFile(const std::string& path, const ResultPlace& place);
    ResultFile(const ResultFile&) = delete;
    ResultFile& operator=(const ResultFile&) = delete;
    /// Keeps the rows done, as `finish` does; a failure then is lost.
    ~ResultFile();

    /// Makes sure that a ResultFile of that path could be made, without making one: an existing file stays as
    /// it is. Raises as the constructor.
    static void requireWritable(const std::string& path);
    /// Makes sure that a result of that path is there as it was at `place`. Raises Poco::DataFormatException.
    static void requireContinuable(const std::string& path, const ResultPlace& place);

    /// From now on a result that is not finished, or cannot be written, leaves what is at PATH as it is.
    void requireWhole() { isWhole_ = true; }

    /// Writes the line of column names, or several lines, without the last line feed; before the first row.
    void header(std::string_view names);
    // Within a row, as RowText
    void text(std::string_view text) { rowText_.text(text); }
    void number(double value) { rowText_.number(value); }
    void cells(const double* values, std::size_t count) { rowText_.cells(values, count); }
    void emptyCells(std::size_t count) { rowText_.emptyCells(count); }
    /// Ends a row; now and then writes a block.  Raises Poco::WriteFileException as `finish` does.
    void endRow();
    /// Writes the rows ended so far; not within a row.  Raises as `endRow`.
    void flush();
    /// The same, and waits until the disk has them.
    void settle();
    /// How far an ordinary file has come, once it has settled.
    ResultPlace place();
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

    [[noreturn]] void fail(int error);
    void close();
    void discard();

    std::string path_;
    std::string target_;     // where the result ends up: `path_` with links resolved
    std::string temporary_;  // empty: written directly
    int fd_ = -1;
    bool isLive_ = false;
    bool isWhole_ = false;
    RowText rowText_{kBlockSize + 4096};
    std::size_t lastRowEnd_ = 0;  // in the text
    std::uint64_t rows_ = 0;
    std::uint64_t rowsWritten_ = 0;
    std::uint64_t headerLines_ = 0;  // in the text
    std::uint64_t bytesWritten_ = 0;
    ResultPlace summed_;  // the latest place
};

}  // namespace Kavelin::RecordingIO
