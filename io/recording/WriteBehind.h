#pragma once

#include <Poco/Exception.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "io/recording/ResultFile.h"

namespace Kavelin::RecordingIO {

/// Turns rows of numbers into text in a thread of its own, up to two thousand rows behind: formatting numbers
/// is most of the cost of a result.
///
/// The thread takes whatever rows are there: of a live result (a pipe, a terminal) the first at once and
/// further ones at most 5 ms later, of an ordinary file every half second; when many come, in batches.
class WriteBehind {
public:
    /// Called in the writing thread while it has nothing to write, every 20 ms for a live result and every
    /// half second for a file.  @return whether to call it again, without being asked.
    using Tick = std::function<bool()>;

    /// @param file borrowed; the thread's alone from the first row until `finish`.
    explicit WriteBehind(ResultFile& file, Tick tick = {});
    /// Writes what is left, as `finish`; a failure then is lost.
    ~WriteBehind();
    WriteBehind(const WriteBehind&) = delete;
    WriteBehind& operator=(const WriteBehind&) = delete;

    // The row being filled, as ResultFile's functions of these names
    void number(double value) { row_.values.push_back(value); }
    void cells(const double* values, std::size_t count) {
        row_.values.insert(row_.values.end(), values, values + count);
        if (count > 0) row_.groups.push_back(static_cast<int>(count));
    }
    void emptyCells(std::size_t count) {
        if (count > 0) row_.groups.push_back(-static_cast<int>(count));
    }
    /// Ends a row. Raises once what writing an earlier row raised; from then on rows are dropped.
    void endRow();

    /// Asks for ticks until one says it was the last. [any thread]
    void startTicks();

    /// Waits until all rows are written.  Raises what writing raised and `endRow` has not told yet.
    void finish();

private:
    using Clock = std::chrono::steady_clock;

    struct Batch {
        std::vector<double> values;  // those that are there, row behind row
        std::vector<int>
            groups;  // for each row: cells in a group, negative for empty ones, and 0 for the end
        std::size_t rows = 0;

        void append(const Batch& row);
        void clear();
    };

    void raiseFailure();
    void run();
    void waitForRows(std::unique_lock<std::mutex>& lock);
    void idle(std::unique_lock<std::mutex>& lock);
    template <class Act>
    void guarded(const Act& act);
    void write(const Batch& batch);
    void flush();
    bool isDue() const;

    ResultFile& file_;
    const Tick tick_;
    const Clock::duration pause_;  // between two writes
    Batch row_;                    // the one being filled
    std::mutex mutex_;             // of the next four
    std::condition_variable change_;
    Batch waiting_;
    bool wantsTick_ = false;
    bool ended_ = false;
    // The writing thread's.
    Clock::time_point written_{};  // when it wrote last
    bool holds_ = false;           // the file has rows that are not written
    bool isWritable_ = true;

    std::unique_ptr<Poco::Exception> failure_;
    std::atomic<bool> hasFailed_{false};  // set when `failure_` is there to be taken
    std::thread thread_;
};

}  // namespace Kavelin::RecordingIO
