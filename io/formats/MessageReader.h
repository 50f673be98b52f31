#pragma once

#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/recording/LineReader.h"
#include "io/recording/RowBuilder.h"
#include "io/recording/RowReader.h"

namespace Kavelin::RecordingIO {

/// Reads the text messages of an x-IMU3, as they come from the unit or stand in a file: "I,1000000,0.1,..." with
/// rates and accelerations, "M,..." with the field, "Q,..." with the unit's own quaternion, each with time stamps and a
/// rate of its own. Messages of other kinds are passed over.
///
/// Which of the three there are is found in the first second by the time stamps.
class MessageReader : public RowReader {
public:
    /// Raises Poco::DataFormatException ("unit.txt:1: ...") where there is neither rate nor field, and for options
    /// that are for tables.
    MessageReader(std::unique_ptr<ByteSource> source, std::string name, const ReaderOptions& options,
                  std::size_t blockSize = LineReader::kBlockSize);

    /// Whether a line is a message of any kind.
    static bool isMessage(std::string_view line);
    /// Whether a line, such as the answer to a command, says nothing of what the others are.
    static bool isBetweenMessages(std::string_view line);

    const Schema& schema() const override { return schema_; }
    const std::string& name() const override { return name_; }
    Next next() override;
    bool isReady() override { return lines_.hasLine(); }
    bool mayWait() const override { return lines_.source().mayWait(); }
    void close() override { lines_.close(); }
    const Row& row() const override { return row_; }
    Fault fault() const override { return fault_; }
    const std::string& message() const override { return message_; }
    std::uint64_t consumed() const override { return lines_.source().consumed(); }
    std::uint64_t total() const override { return lines_.source().total(); }

private:
    /// The messages of a kind, as the rows of a table.
    struct Table {
        char letter;
        Schema schema;
        RowBuilder rows;
        std::size_t firstChannel = 0;  // of the row of all
    };

    void readTop(const ReaderOptions& options);
    void addTable(char letter, const ReaderOptions& options);
    std::optional<Next> take(std::string_view line);
    bool parse(std::string_view cells, Table& table);
    bool takeRow(Table& table);
    bool startAgain(const Table& table);
    void fillRow(const Table& table);
    void tellText(std::string_view line);
    bool refuse(Fault fault, const std::string& what);

    std::string name_;
    LineReader lines_;
    std::vector<Table> tables_;
    Schema schema_;
    Row row_;
    double latest_ = -std::numeric_limits<double>::infinity();  // s, of all rows
    double arrival_ = 0.0;                                      // of that row
    int restarts_ = 0;
    bool isFirstLine_ = true;
    Fault fault_ = Fault::kNotANumber;
    std::string message_;
    bool ended_ = false;
};

}  // namespace Kavelin::RecordingIO
