#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "io/recording/Fault.h"
#include "io/recording/LineReader.h"
#include "io/recording/Row.h"
#include "io/recording/Schema.h"

namespace Kavelin::RecordingIO {

struct ReaderOptions : SchemaOptions {
    /// Pins whose missing values are replaced by their last one, stamped with the row's time.
    std::vector<std::string> repeat;
    /// Pins that are sent only in rows that hold a value for all of them.
    std::vector<std::string> together;
};

/// Reads a recording row by row, in constant memory; knows nothing of pins and filters.
/// A line that cannot be used is a fault with file and line, and the next call goes on after it.
class RecordingReader {
public:
    enum class Next { kRow, kFault, kEnd };

    /// Opens the file (or standard input for "-") and understands its header.
    /// Raises Poco::FileNotFoundException, Poco::OpenFileException, Poco::ReadFileException, and
    /// Poco::DataFormatException ("rec.csv:1: ...") for an empty file or an unusable header.
    static RecordingReader open(const std::string& path, const ReaderOptions& options);

    /// What messages call the file: "standard input" for "-".
    static std::string nameOf(const std::string& path);

    RecordingReader(std::unique_ptr<ByteSource> source, std::string name, const ReaderOptions& options,
                    std::size_t blockSize = LineReader::kBlockSize);

    const Schema& schema() const { return schema_; }
    const std::string& name() const { return name_; }
    const ByteSource& source() const { return lines_.source(); }

    /// Advances to the next row. Never throws; allocates only for a fault's message.
    Next next();
    /// Whether the next line has been read already, so that `next` will not wait for bytes.
    bool hasNextLine() { return lines_.hasLine(); }
    /// Makes a `next` that is waiting for bytes, and all later ones, find the end. [any thread]
    void close() { lines_.close(); }

    /// The row that `next` found; changed by the next `next`.
    const Row& row() const { return row_; }
    std::uint64_t line() const { return lines_.number(); }

    /// The fault that `next` reported last.
    Fault fault() const { return fault_; }
    const std::string& message() const { return message_; }

    std::uint64_t rows() const { return rows_; }

private:
    struct ChannelState {
        bool repeats = false;   // as the options ask
        bool together = false;  // as the options ask
        bool seen = false;      // a row held a value
    };

    void readHeader(const ReaderOptions& options);
    bool takeCommentedHeader(const std::string& comment, std::string_view line, const ReaderOptions& options);
    void makePrintable();
    void refuseSeveralSensors(std::string_view rows) const;
    bool isOtherSensor(std::string_view line);
    std::string severalSensors(const std::string& first, const std::string& other) const;
    void prepareChannels(const ReaderOptions& options);
    bool parseCells(std::string_view line);
    const char* parseCell(const char* at, const char* end, std::size_t column);
    const char* parseUncommonCell(const char* at, const char* end, std::size_t column);
    bool refuseExtraCells(const char* at, const char* end);
    bool takeTime();
    void takeChannels();
    void takeChannel(const Channel& channel, ChannelState& state, Row::Slot& slot);
    bool isComment(std::string_view line) const;
    std::string place() const;
    bool refuse(Fault fault, const std::string& what);

    std::string name_;
    LineReader lines_;
    Schema schema_;
    double rate_ = 0.0;
    std::vector<bool> isUsed_;   // by column
    std::vector<double> cells_;  // by column; only those in use are written
    std::vector<ChannelState> states_;
    Row row_;
    std::string sensor_;            // that of the rows so far, as written in the sensor column
    std::uint64_t sensorRows_ = 0;  // rows of it
    bool ended_ = false;
    double latest_ = 0.0;
    std::uint64_t rows_ = 0;
    Fault fault_ = Fault::kNotANumber;
    std::string message_;
};

}  // namespace Kavelin::RecordingIO
