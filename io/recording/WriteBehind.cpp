#include "io/recording/WriteBehind.h"

#include <algorithm>

namespace Kavelin::RecordingIO {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kBatchRows = 512;    // enough to write without waiting for more
constexpr std::size_t kBatchCells = 8192;  // room for them, and for longer rows at the cost of fewer
constexpr auto kLivePause = 5ms;
constexpr std::chrono::milliseconds kLiveTick = 20ms;
constexpr std::chrono::milliseconds kFilePause = 500ms;  // between two ticks as well

}  // namespace

WriteBehind::WriteBehind(ResultFile& file, Tick tick)
    : file_(file), tick_(std::move(tick)), isLive_(file.isLive()), pause_(isLive_ ? kLivePause : kFilePause) {
    for (Batch& batch : batches_) batch.reserve(kBatchCells);
    thread_ = std::thread([this] { run(); });
}

WriteBehind::~WriteBehind() {
    try {
        finish();
    } catch (const Poco::Exception&) {
        // The rows that fitted are kept; a failure can no longer be reported.
    }
}

/// What is being read must stay where it is: a batch grows only while it is empty.
bool WriteBehind::Batch::hasRoomFor(const Batch& row) const {
    return values.size() + row.values.size() <= values.capacity() &&
           groups.size() + row.groups.size() <= groups.capacity();
}

void WriteBehind::Batch::append(const Batch& row) {
    values.insert(values.end(), row.values.begin(), row.values.end());
    groups.insert(groups.end(), row.groups.begin(), row.groups.end());
    rows.store(rows.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

void WriteBehind::Batch::reserve(std::size_t cells) {
    values.reserve(cells);
    groups.reserve(cells);
}

void WriteBehind::Batch::clear() {
    values.clear();
    groups.clear();
    rows.store(0, std::memory_order_relaxed);
    written = {};
}

void WriteBehind::endRow() {
    row_.groups.push_back(0);
    const std::size_t rows = filling_->rows.load(std::memory_order_relaxed);
    if (rows == kBatchRows || !filling_->hasRoomFor(row_)) [[unlikely]]
        beginBatch();
    filling_->append(row_);
    row_.values.clear();
    row_.groups.clear();
    if (isLive_) tellOfRow();
    raiseFailure();
}

/// Completes the batch being filled, unless it is empty; waits for an empty one.
void WriteBehind::beginBatch() {
    if (filling_->rows.load(std::memory_order_relaxed) > 0) {
        std::unique_lock lock(mutex_);
        ++completed_;
        change_.notify_all();
        change_.wait(lock, [this] { return completed_ - emptied_ < kBatches; });
        filling_ = &batches_[completed_ % kBatches];
    }
    filling_->reserve(std::max(row_.values.size(), row_.groups.size()));
}

/// The first row of a live result does not wait for others.
void WriteBehind::tellOfRow() {
    const std::lock_guard lock(mutex_);
    if (isIdle_) change_.notify_all();
}

void WriteBehind::startTicks() {
    {
        const std::lock_guard lock(mutex_);
        if (wantsTick_) return;
        wantsTick_ = true;
    }
    change_.notify_all();
}

void WriteBehind::finish() {
    if (!thread_.joinable()) return;
    endThread();
    raiseFailure();
}

void WriteBehind::endThread() {
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    change_.notify_all();
    thread_.join();
}

void WriteBehind::settle() {
    endThread();
    guarded([this] { file_.settle(); });
    ended_ = holds_ = false;
    thread_ = std::thread([this] { run(); });
    if (!hasFailed_.load()) return;
    const std::unique_ptr<Poco::Exception> failure(failure_->clone());
    failure->rethrow();
}

void WriteBehind::raiseFailure() {
    if (!hasFailed_.load(std::memory_order_acquire)) return;
    hasFailed_.store(false);
    const std::unique_ptr<Poco::Exception> failure = std::move(failure_);
    failure->rethrow();
}

// In the writing thread

void WriteBehind::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        waitForRows(lock);
        if (!hasRows()) return;
        Batch& batch = toWrite();
        const bool isComplete = completed_ > emptied_;
        lock.unlock();
        const std::size_t rows = batch.rows.load(std::memory_order_acquire);
        guarded([&] { write(batch, rows); });
        batch.written.rows = rows;
        if (isComplete) batch.clear();
        lock.lock();
        if (isComplete) {
            ++emptied_;
            change_.notify_all();
        }
    }
}

bool WriteBehind::hasRows() {
    const Batch& batch = toWrite();
    return completed_ > emptied_ || batch.rows.load(std::memory_order_acquire) > batch.written.rows;
}

/// Until there are rows to write, or no more will come.
void WriteBehind::waitForRows(std::unique_lock<std::mutex>& lock) {
    while (!hasRows() && !ended_) idle(lock);
    change_.wait_until(lock, written_ + pause_, [this] { return isDue(); });
}

/// Waits for a row; where none comes in time, writes what its file still holds, or ticks.
void WriteBehind::idle(std::unique_lock<std::mutex>& lock) {
    const auto hasCome = [this] { return hasRows() || ended_; };
    isIdle_ = true;
    if (holds_) {
        const bool came = change_.wait_until(lock, written_ + pause_, hasCome);
        isIdle_ = false;
        if (came) return;
        lock.unlock();
        guarded([this] { flush(); });
        lock.lock();
    } else {
        const bool ticks = wantsTick_;
        const bool came = change_.wait_for(lock, isLive_ && ticks ? kLiveTick : kFilePause,
                                           [&] { return hasCome() || wantsTick_ != ticks; });
        isIdle_ = false;
        if (came || !ticks) return;
        wantsTick_ = false;  // before the tick: a request made meanwhile gets another tick
        lock.unlock();
        bool again = false;
        guarded([&] { again = tick_(); });
        lock.lock();
        wantsTick_ = wantsTick_ || again;
    }
}

template <class Act>
void WriteBehind::guarded(const Act& act) {
    if (!isWritable_) return;
    try {
        act();
    } catch (const Poco::Exception& failure) {
        isWritable_ = false;
        failure_.reset(failure.clone());
        hasFailed_.store(true, std::memory_order_release);
    }
}

/// @param rows up to which
void WriteBehind::write(Batch& batch, std::size_t rows) {
    const double* value = batch.values.data() + batch.written.values;
    const int* group = batch.groups.data() + batch.written.groups;
    for (std::size_t row = batch.written.rows; row < rows; ++row) {
        file_.number(*value++);
        for (; *group != 0; ++group) {
            if (*group > 0) {
                file_.cells(value, static_cast<std::size_t>(*group));
                value += *group;
            } else {
                file_.emptyCells(static_cast<std::size_t>(-*group));
            }
        }
        ++group;
        file_.endRow();
    }
    batch.written.values = static_cast<std::size_t>(value - batch.values.data());
    batch.written.groups = static_cast<std::size_t>(group - batch.groups.data());
    holds_ = true;
    if (isLive_ || Clock::now() - written_ >= pause_) flush();
}

void WriteBehind::flush() {
    holds_ = false;
    file_.flush();
    written_ = Clock::now();
}

}  // namespace Kavelin::RecordingIO
