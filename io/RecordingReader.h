#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "io/LineReader.h"
#include "io/Schema.h"

namespace Kavelin::RecordingIO {

/// Why a line brings no row.
enum class Fault {
    kNotANumber,     ///< a cell is neither a number nor empty nor "nan"
    kShortRow,       ///< fewer cells than the header has
    kLongRow,        ///< more cells than the header has
    kNoTime,         ///< the time cell is empty
    kTimeBackwards,  ///< earlier than a row before
    kCutOff,         ///< the file ends in the middle of this row
    kUnreadable,     ///< the file cannot be read on from here, or a line is too long
};
inline constexpr std::size_t kFaultCount = 7;

/// A few words for a summary: "text in a number", "time backwards", ...
std::string_view faultName(Fault fault);

struct ReaderOptions : SchemaOptions {
    /// Pins whose missing values are replaced by their last one, stamped with the row's time.
    std::vector<std::string> repeat;
    /// Pins that are sent only in rows that hold a value for all of them.
    std::vector<std::string> together;
};

/// Reads a recording row by row, in constant memory; knows nothing of pins and filters.
/// A line that cannot be used is a fault with file and line, and the next call goes on behind it.
class RecordingReader {
public:
    enum class Next { kRow, kFault, kEnd };

    /// Opens the file (or standard input for "-") and understands its header.
    /// Raises Poco::FileNotFoundException, Poco::OpenFileException, Poco::ReadFileException, and
    /// Poco::DataFormatException ("rec.csv:1: ...") for an empty file or a header without use.
    static RecordingReader open(const std::string& path, const ReaderOptions& options);

    RecordingReader(std::unique_ptr<ByteSource> source, std::string name, const ReaderOptions& options,
                    std::size_t blockSize = LineReader::kBlockSize);

    const Schema& schema() const { return schema_; }
    const std::string& name() const { return name_; }
    const ByteSource& source() const { return lines_.source(); }

    /// Advances to the next row.  Never throws; does not allocate but for a fault's message.
    Next next();

    /// s; of the row that `next` found.
    double time() const { return time_; }
    std::uint64_t line() const { return lines_.number(); }
    /// Whether the row itself holds a value for this channel, whether it sends one, and whether what it sends
    /// is repeated from an earlier row.
    bool isMeasured(std::size_t channel) const { return states_[channel].measured; }
    bool has(std::size_t channel) const { return states_[channel].sent; }
    bool isRepeated(std::size_t channel) const { return states_[channel].repeated; }
    /// The channel's elements, row by row, in the units that leave the reader; valid until the next `next`.
    const double* values(std::size_t channel) const { return values_.data() + states_[channel].offset; }

    /// The fault that `next` reported last.
    Fault fault() const { return fault_; }
    const std::string& message() const { return message_; }

    std::uint64_t rows() const { return rows_; }
    std::uint64_t faults(Fault kind) const { return faults_[static_cast<std::size_t>(kind)]; }
    std::uint64_t faults() const;

private:
    struct ChannelState {
        std::size_t offset = 0;
        bool measured = false;
        bool sent = false;
        bool repeated = false;
        bool repeats = false;
        bool seen = false;
        bool together = false;
    };

    void readHeader(const ReaderOptions& options);
    void prepareChannels(const ReaderOptions& options);
    bool parseCells(std::string_view line);
    const char* parseCell(const char* at, const char* end, std::size_t column);
    const char* parseUncommonCell(const char* at, const char* end, std::size_t column);
    bool refuseExtraCells(const char* at, const char* end);
    bool takeTime();
    void takeChannels();
    void takeChannel(const Channel& channel, ChannelState& state);
    bool isComment(std::string_view line) const;
    std::string place() const;
    bool refuse(Fault fault, const std::string& what);

    std::string name_;
    LineReader lines_;
    Schema schema_;
    double rate_ = 0.0;
    std::vector<bool> isUsed_;    // by column
    std::vector<double> cells_;   // by column; only those in use are written
    std::vector<double> values_;  // by channel and element
    std::vector<ChannelState> states_;
    bool ended_ = false;
    double time_ = 0.0;
    double latest_ = 0.0;
    std::uint64_t rows_ = 0;
    Fault fault_ = Fault::kNotANumber;
    std::string message_;
    std::array<std::uint64_t, kFaultCount> faults_{};
};

}  // namespace Kavelin::RecordingIO
