#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "io/ResultFile.h"

namespace Kavelin::RecordingIO {

/// Names of the columns of one pin: `pin` for one element, `pin.x .y .z` for three, `pin.w .x .y .z` for
/// four, `pin.rc` (row, column, from 0) otherwise, `pin.r.c` where one of them has two digits.
std::vector<std::string> columnNames(const std::string& pin, std::size_t rows, std::size_t cols);

/// Writes samples of several pins as one table, in constant memory: samples of one time stamp share a row, a
/// pin without a sample there leaves its cells empty. The first sample of a pin fixes its columns, in the
/// order in which the pins were added; a pin that begins only after the first thousand rows has its columns
/// behind the others, and the file is gone through once more at the end to give the rows before it their
/// empty cells.
class TableWriter {
public:
    /// @throws as ResultFile.
    explicit TableWriter(const std::string& path) : file_(path) {}
    ~TableWriter();

    /// @return the pin's index for `put`.
    std::size_t addPin(const std::string& name);

    /// Takes one sample: rows x cols elements, row by row. A sample later than the row being filled, or one
    /// for cells that are filled already, begins a new row.
    /// @throws Poco::DataFormatException for a shape that is not the pin's first one (the cells stay empty),
    /// Poco::WriteFileException as ResultFile.
    void put(std::size_t pin, double time, const double* elements, std::size_t rows, std::size_t cols);

    /// Completes the table under its name.  @throws as ResultFile.
    void finish();

    /// Rows begun so far.
    std::uint64_t rows() const { return rows_; }

private:
    struct Pin {
        std::string name;
        std::size_t rows = 0;
        std::size_t cols = 0;
        std::vector<double> cells;
        bool filled = false;  // in the row being filled

        std::size_t size() const { return rows * cols; }
    };
    /// A row kept until the header is known; cells of each pin that was filled.
    struct HeldRow {
        double time;
        std::vector<std::pair<std::size_t, std::vector<double>>> cells;
    };
    static constexpr std::size_t kMostHeldRows = 1000;

    void endRow();
    void holdRow();
    bool allShapesKnown() const;
    void beginTable();
    void writeRow(double time);
    std::string header() const;
    void padEarlierRows();

    ResultFile file_;
    std::vector<Pin> pins_;
    std::vector<std::size_t> order_;  // pins in the order of their columns
    std::vector<HeldRow> held_;
    bool begun_ = false;     // the header is written
    bool isRagged_ = false;  // a pin came after the header
    bool hasRow_ = false;
    double time_ = 0.0;
    std::uint64_t rows_ = 0;
};

}  // namespace Kavelin::RecordingIO
