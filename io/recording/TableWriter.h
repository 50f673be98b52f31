#pragma once

#include <iosfwd>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "io/recording/ResultFile.h"
#include "io/recording/TableSink.h"
#include "io/recording/WriteBehind.h"

namespace Kavelin::RecordingIO {

/// Names of the columns of one pin: `pin` for one element, `pin.x .y .z` for three, `pin.w .x .y .z` for
/// four, `pin.rc` (row, column, from 0) otherwise, `pin.r.c` where one of them has two digits.
std::vector<std::string> columnNames(const std::string& pin, std::size_t rows, std::size_t cols);

/// A name as a cell of a header: in quotes where it would otherwise be split.
std::string headerCell(const std::string& name);

/// The message for a sample that does not have as many elements as its pin has named columns.
std::string wrongColumnCount(const std::string& pin, std::size_t columns, std::size_t rows, std::size_t cols);

/// The message for a sample of another shape than its pin began with.
std::string wrongShape(const std::string& pin, const TableSink::Shape& first, std::size_t rows,
                       std::size_t cols);

/// Writes samples of several pins as a table of text, in constant memory: a pin without a sample for a row
/// leaves its cells empty. The first sample of a pin fixes its columns, in the
/// order in which the pins were added; a pin that begins only after the first thousand rows has its columns
/// behind the others, and the file is gone through once more at the end to give the rows before it
/// their empty cells.
///
/// A row is written when all its cells are there or the next begins. On a pipe or a terminal, where a reader
/// may be waiting, it is written at the latest 40 ms after its last sample (a later sample of that time then
/// gets a row of its own), and the header with the first row, if the shapes of all pins are known or
/// expected. A file receives its rows every half second, so that little is lost if the process dies.
class TableWriter final : public TableSink {
public:
    class Progress;

    /// @throws as ResultFile.
    explicit TableWriter(const std::string& path) : file_(path) {}
    /// Goes on with an unfinished table, or with a finished one; its pins are those that it had.  @throws as ResultFile
    TableWriter(const std::string& path, const Progress& progress);
    /// Makes sure that the table is there as it was.  @throws Poco::DataFormatException
    static void requireContinuable(const std::string& path, const Progress& progress, std::size_t pinCount);
    ~TableWriter() override;

    /// A pin with named columns has them from the start, and takes samples of as many elements.
    std::size_t add(const TableSink::Pin& pin) override;
    std::size_t addPin(const std::string& name, const Shape& expected = Shape{0, 0}) {
        return add({name, {}, expected});
    }
    void put(std::size_t pin, double time, const double* elements, std::size_t rows,
             std::size_t cols) override;
    void endRow(double time) override;
    void finish() override;

    /// How far an ordinary file has come, which then is on the disk.  @throws Poco::WriteFileException
    Progress settle();

    /// Rows begun so far.
    std::uint64_t rows() const { return table_.rows; }

private:
    struct Column : TableSink::Pin {
        Shape shape{0, 0};
        std::vector<double> cells;
        bool isExpectation = false;  // no sample has shown its shape yet
        bool filled = false;         // in the row being filled

        template <class Archive>
        void serialize(Archive& archive) {
            archive(name, columns, expected.rows, expected.cols, shape.rows, shape.cols, cells, isExpectation,
                    filled);
        }

        std::size_t size() const { return shape.size(); }
        void fix(const Shape& first);
        bool takes(const Shape& sample);
        [[noreturn]] void refuse(const Shape& sample) const;
    };
    /// A row kept until the header is known; cells of each pin that was filled.
    struct HeldRow {
        double time;
        std::vector<std::pair<std::size_t, std::vector<double>>> cells;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(time, cells);
        }
    };
    /// What is to come depends on it, beside what the file holds.
    struct Filling {
        std::vector<Column> pins;
        std::vector<std::size_t> order;  // pins in the order of their columns
        std::vector<HeldRow> held;
        bool begun = false;     // the header is written
        bool isRagged = false;  // a pin came after the header
        bool hasRow = false;
        double time = 0.0;
        std::size_t filled = 0;  // pins of the row being filled
        std::uint64_t rows = 0;
        std::size_t shown = 0;  // held rows that the unfinished file already has
        std::vector<std::pair<std::uint64_t, std::size_t>>
            widths;  // from a row on: so many pins of the order

        template <class Archive>
        void serialize(Archive& archive) {
            archive(pins, order, held, begun, isRagged, hasRow, time, filled, rows, shown, widths);
        }

        /// Whether its numbers fit together, as those of a table of so many pins.
        bool isSound(std::size_t pinCount) const;
        std::string header(std::size_t pinsShown) const;
        std::size_t separators(std::size_t pinsShown) const;
    };
    static constexpr std::size_t kMostHeldRows = 1000;

    void endRow();
    void holdRow();
    bool knowsColumns() const;
    void beginTable();
    void orderColumns();
    template <class Rows>
    void writeHeldRows(Rows& rows);
    template <class Rows>
    void writeRow(Rows& rows, double time);
    std::string header() const { return table_.header(table_.order.size()); }
    void padEarlierRows();
    void writePadded();
    static bool unpad(const std::string& path, const Progress& progress, std::ostream* to);
    static const std::string& continuable(const std::string& path, const Progress& progress);
    void startTicks();
    bool tick();
    void showHeldRows();

    ResultFile file_;
    std::mutex mutex_;  // of all that follows
    Filling table_;
    std::uint64_t rowsAtTick_ = 0;
    bool ticks_ = false;
    WriteBehind out_{file_, [this] { return tick(); }};
};

/// How far an unfinished table has come.
class TableWriter::Progress {
public:
    template <class Archive>
    void serialize(Archive& archive) {
        archive(place_, table_);
    }
    const ResultPlace& place() const { return place_; }

private:
    friend TableWriter;

    ResultPlace place_;
    Filling table_;
};

}  // namespace Kavelin::RecordingIO
