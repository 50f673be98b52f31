#pragma once

#include <Poco/Exception.h>

#include <array>
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
/// further ones at most 5 ms later, of an ordinary file every half second; when many come, in batches. Of an
/// ordinary file it looks for rows by itself, so that handing one over takes no lock.
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
        if (count == 0) return;
        for (std::size_t i = 0; i < count; ++i) row_.values.push_back(values[i]);
        if (!row_.groups.empty() && row_.groups.back() > 0)
            row_.groups.back() += static_cast<int>(count);
        else
            row_.groups.push_back(static_cast<int>(count));
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
    /// The same, and has them written to the disk; more rows may follow, and the next `endRow` raises a failure again.
    void settle();

private:
    using Clock = std::chrono::steady_clock;

    /// Rows, one behind the other. While one thread fills it, the other may read the rows published.
    struct Batch {
        std::vector<double> values;  // those that are there
        std::vector<int>
            groups;  // for each row: cells in a group, negative for empty ones, and 0 for the end
        std::atomic<std::size_t> rows{0};  // published
        struct {
            std::size_t rows = 0, values = 0, groups = 0;
        } written;  // the writing thread's

        void reserve(std::size_t cells);
        bool hasRoomFor(const Batch& row) const;
        void append(const Batch& row);
        void clear();
    };
    static constexpr std::size_t kBatches = 4;

    void endThread();
    void raiseFailure();
    void run();
    void waitForRows(std::unique_lock<std::mutex>& lock);
    void idle(std::unique_lock<std::mutex>& lock);
    template <class Act>
    void guarded(const Act& act);
    void write(Batch& batch, std::size_t rows);
    void flush();
    void beginBatch();
    void tellOfRow();
    Batch& toWrite() { return batches_[emptied_ % kBatches]; }
    bool hasRows();
    bool isDue() const { return ended_ || completed_ > emptied_; }

    ResultFile& file_;
    const Tick tick_;
    const bool isLive_;
    const Clock::duration pause_;          // between two writes
    Batch row_;                            // the one being filled
    std::array<Batch, kBatches> batches_;  // a ring
    Batch* filling_ = &batches_[0];
    std::mutex mutex_;  // of the next five
    std::condition_variable change_;
    std::size_t completed_ = 0;  // batches that are full
    std::size_t emptied_ = 0;    // of those, the ones that are written
    bool isIdle_ = false;        // the thread waits for a row
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
