#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/recording/ArrivalClock.h"
#include "io/recording/CellReader.h"
#include "io/recording/LineReader.h"
#include "io/recording/RowBuilder.h"
#include "io/recording/RowReader.h"
#include "io/recording/TableForm.h"

namespace Kavelin::RecordingIO {

/// What the options say of a table's form.
FormHints hintsOf(const ReaderOptions& options, bool isWhole);

/// Reads a table of text row by row, in constant memory.
/// A line that cannot be used is a fault with file and line, and the next call goes on after it.
class RecordingReader : public RowReader {
public:
    /// Opens the file (or standard input for "-") and understands its first lines.
    /// Raises Poco::FileNotFoundException, Poco::OpenFileException, Poco::ReadFileException, and
    /// Poco::DataFormatException ("rec.csv:1: ...") for an empty file or an unusable header.
    static RecordingReader open(const std::string& path, const ReaderOptions& options);

    /// What messages call the file: "standard input" for "-".
    static std::string nameOf(const std::string& path);

    RecordingReader(std::unique_ptr<ByteSource> source, std::string name, const ReaderOptions& options,
                    std::size_t blockSize = LineReader::kBlockSize);
    /// Of a table whose form is known: its lines above the first row are passed over.
    RecordingReader(std::unique_ptr<ByteSource> source, std::string name, const TableForm& form,
                    const ReaderOptions& options);

    const Schema& schema() const override { return schema_; }
    const std::string& name() const override { return name_; }
    Next next() override;
    bool isReady() override { return lines_.hasLine(); }
    bool mayWait() const override { return lines_.source().mayWait(); }
    void close() override { lines_.close(); }
    const Row& row() const override { return rows_.row(); }
    Fault fault() const override { return fault_; }
    const std::string& message() const override { return message_; }
    /// What was read ahead is not counted; of a compressed file about so.
    std::uint64_t consumed() const override {
        return static_cast<std::uint64_t>(lines_.usedShare() *
                                          static_cast<double>(lines_.source().consumed()));
    }
    std::uint64_t total() const override { return lines_.source().total(); }

    /// The sensors of the whole table, which is read to its end; empty where it does not tell sensors apart.
    /// Instead of `next`.  Raises what reading raises.
    std::vector<std::string> readSensors();

    /// Number of the line that `next` looked at last.
    std::uint64_t line() const { return lines_.number(); }
    std::uint64_t rows() const { return rows_.rows(); }

private:
    /// The lines above the rows and the first rows.
    struct Top {
        std::vector<std::string> lines;
        std::size_t firstRow = 0;                  // index of the first line of numbers
        std::unique_ptr<Poco::Exception> failure;  // of reading on
    };

    Top readTop();
    bool readTopLine(Top& top);
    bool isOfNoUse(const Top& top);
    [[noreturn]] void refuseRubbish() const;
    std::string liveHint(const std::string& refusal) const;
    TableForm formOf(const Top& top, const ReaderOptions& options) const;
    void begin(Top top, const TableForm& form, const ReaderOptions& options);
    void chooseRows(const Top& top, const ReaderOptions& options);
    void makePrintable();
    /// The names in the sensor column, each once, and the rows that have one.
    struct SensorCount {
        std::vector<std::string> names;
        std::size_t rows = 0;
        bool isOfSensors() const;
    };
    SensorCount sensorsIn(const Top& top) const;
    void countSensor(std::string_view line, SensorCount& sensors) const;
    std::string noSensor(const std::string& name, const std::vector<std::string>& sensors,
                         const char* holds) const;
    bool isOfOtherSensor(std::string_view line);
    bool isOtherSensor(std::string_view line);
    std::string severalSensors(const std::vector<std::string>& sensors) const;
    bool takeArrival();
    bool isAboveRows(std::string_view line);
    bool takeRow();
    bool takeLiveRow();
    bool accept(RowBuilder::Taken taken);
    std::string place(std::uint64_t line) const;
    bool refuse(const Refusal& refusal);

    /// What only a stream from a sensor needs.
    struct Live {
        LiveStream* stream = nullptr;  // of the source; null for a file, a pipe
        bool isFirstLine = true;
        std::size_t rubbish = 0;  // lines that were no text, before the first row
        std::vector<std::string>
            above;                 // the lines above the rows: they come again when a device starts again
        bool startsAgain = false;  // they came
        double arrival = 0.0;      // of the row before
        int restarts = 0;
    };
    /// What only the time of arrival needs.
    struct Arrivals {
        ArrivalClock clock = {};
        std::uint64_t reads = 0;  // seen of the source
        std::uint64_t early = 0;  // rows before the first that has a time
    };

    std::string name_;
    LineReader lines_;
    Live live_;
    std::optional<Arrivals> arrivals_;
    Schema schema_;
    RowBuilder rows_;
    CellReader cells_;
    std::string chosen_;               // the sensor whose rows are wanted; empty: all rows
    std::vector<std::string> others_;  // sensors in the first rows, where one is chosen
    std::string sensor_;               // that of the rows so far, as written in the sensor column
    std::uint64_t sensorRows_ = 0;     // rows of it
    bool ended_ = false;
    Fault fault_ = Fault::kNotANumber;
    std::string message_;
};

}  // namespace Kavelin::RecordingIO
