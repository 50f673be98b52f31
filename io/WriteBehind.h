#pragma once

#include <Poco/Exception.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

#include "io/BatchExchange.h"
#include "io/ResultFile.h"

namespace Kavelin::RecordingIO {

/// Turns rows of numbers into text in a thread of its own, up to a thousand rows behind: most of what a
/// result costs is the shortest text of its numbers.
class WriteBehind {
public:
    /// @param file borrowed; the thread's alone until `finish`.
    explicit WriteBehind(ResultFile& file);
    /// Writes what is left, as `finish`; a failure then is lost.
    ~WriteBehind();
    WriteBehind(const WriteBehind&) = delete;
    WriteBehind& operator=(const WriteBehind&) = delete;

    // The row being filled, as ResultFile's functions of these names
    void number(double value) { cells(&value, 1); }
    void cells(const double* values, std::size_t count) {
        batch_->values.insert(batch_->values.end(), values, values + count);
        batch_->isPresent.insert(batch_->isPresent.end(), count, true);
    }
    void emptyCells(std::size_t count) {
        batch_->values.insert(batch_->values.end(), count, 0.0);
        batch_->isPresent.insert(batch_->isPresent.end(), count, false);
    }
    /// Ends a row.  Raises, once, what writing an earlier row raised; from then on rows are lost.
    void endRow();

    /// Waits until all rows are written.  Raises what writing raised and `endRow` has not told yet.
    void finish();

private:
    struct Batch {
        std::vector<double> values;  // cell by cell, row behind row
        std::vector<char> isPresent;
        std::vector<std::size_t> rowEnds;  // in `values`
    };

    void raiseFailure();
    void run();
    void write(const Batch& batch);
    void writeRow(const Batch& batch, std::size_t begin, std::size_t end);

    ResultFile& file_;
    BatchExchange<Batch> exchange_;
    std::unique_ptr<Batch> batch_;  // the one being filled; null behind `finish`
    std::unique_ptr<Poco::Exception> failure_;
    std::atomic<bool> hasFailed_{false};  // set when `failure_` is there to be taken
    std::thread thread_;
};

}  // namespace Kavelin::RecordingIO
