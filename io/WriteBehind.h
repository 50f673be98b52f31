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

/// Turns rows of numbers into text in a thread of its own, up to two thousand rows behind: most of what a
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
    void number(double value) {
        batch_->reserve(1);
        batch_->values[batch_->used++] = value;
    }
    void cells(const double* values, std::size_t count) {
        batch_->reserve(count);
        for (std::size_t i = 0; i < count; ++i) batch_->values[batch_->used + i] = values[i];
        batch_->used += count;
        if (count > 0) batch_->groups.push_back(static_cast<int>(count));
    }
    void emptyCells(std::size_t count) {
        if (count > 0) batch_->groups.push_back(-static_cast<int>(count));
    }
    /// Ends a row.  Raises, once, what writing an earlier row raised; from then on rows are lost.
    void endRow();

    /// Waits until all rows are written.  Raises what writing raised and `endRow` has not told yet.
    void finish();

private:
    struct Batch {
        std::vector<double> values;  // those that are there, row behind row
        std::size_t used = 0;
        std::vector<int>
            groups;  // for each row: cells in a group, negative for empty ones, and 0 for the end
        std::size_t rows = 0;

        void reserve(std::size_t count) {
            if (values.size() - used < count) [[unlikely]]
                values.resize(2 * values.size() + count);
        }
    };

    void raiseFailure();
    void run();
    void write(const Batch& batch);

    ResultFile& file_;
    BatchExchange<Batch> exchange_;
    std::unique_ptr<Batch> batch_;  // the one being filled; null behind `finish`
    std::unique_ptr<Poco::Exception> failure_;
    std::atomic<bool> hasFailed_{false};  // set when `failure_` is there to be taken
    std::thread thread_;
};

}  // namespace Kavelin::RecordingIO
