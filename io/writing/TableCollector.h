#pragma once

#include "io/recording/TableSink.h"
#include "io/writing/TableFormat.h"

namespace Kavelin::RecordingIO {

/// Collects a table in memory, 8 bytes a cell, and writes it when it is complete. Until then nothing is
/// written, and an earlier file of the name stays as it is.
class TableCollector final : public TableSink {
public:
    TableCollector(std::string path, const TableFormat& format) : path_(std::move(path)), format_(format) {}
    /// Completes the table, as `finish`; a failure then is lost.
    ~TableCollector() override;

    /// A pin with named columns takes samples of as many elements, and is in the table even without samples.
    std::size_t add(const Pin& pin) override;
    /// Raises Poco::WriteFileException where the format cannot hold more.
    void put(std::size_t pin, double time, const double* elements, std::size_t rows,
             std::size_t cols) override;
    void endRow(double time) override;
    void finish() override;
    std::vector<std::string> notes() const override { return notes_; }

private:
    struct State {
        bool isFixed = false;  // a sample has shown its shape
        bool filled = false;   // in the row being filled
    };

    void fix(std::size_t pin, const Shape& sample);
    void beginRow(double time);
    void endRow();
    void complete(CollectedArray& array) const;

    const std::string path_;
    const TableFormat format_;
    CollectedTable table_;
    std::vector<State> states_;  // of the arrays
    bool hasRow_ = false;
    bool isFinished_ = false;
    std::size_t filled_ = 0;  // arrays of the row being filled
    std::vector<std::string> notes_;
};

}  // namespace Kavelin::RecordingIO
