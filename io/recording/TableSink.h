#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Kavelin::RecordingIO {

/// Takes samples of several pins as one table: samples of one time stamp share a row, a pin without a sample
/// there has no value in it.
class TableSink {
public:
    virtual ~TableSink() = default;

    struct Shape {
        std::size_t rows, cols;  ///< 0: not known
        std::size_t size() const { return rows * cols; }
        bool operator==(const Shape&) const = default;
    };

    /// What is known of a pin before its first sample.
    struct Pin {
        std::string name;
        std::vector<std::string> columns;  ///< their names, one an element; empty: they follow from the shape
        Shape expected{0, 0};              ///< that its samples will most likely have
    };
    /// @return the pin's index for `put`.
    virtual std::size_t add(const Pin& pin) = 0;

    /// Takes one sample: rows x cols elements, row by row. A sample later than the row being filled, or one
    /// for cells that are filled already, begins a new row.
    /// @throws Poco::DataFormatException for a shape that is not the pin's first one (the cells stay empty),
    /// Poco::WriteFileException where the table cannot take it.
    virtual void put(std::size_t pin, double time, const double* elements, std::size_t rows,
                     std::size_t cols) = 0;

    /// Ends the row being filled, whatever cells it lacks; where there is none,
    /// begins and ends one of that time without values.
    virtual void endRow(double time) = 0;

    /// Completes the table under its name.  @throws Poco::WriteFileException, Poco::CreateFileException
    virtual void finish() = 0;

    /// What a reader of the finished table should know, one sentence each.
    virtual std::vector<std::string> notes() const { return {}; }
};

}  // namespace Kavelin::RecordingIO
