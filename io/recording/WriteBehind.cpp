#include "io/recording/WriteBehind.h"

namespace Kavelin::RecordingIO {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kBatchRows = 512;  // enough to write without waiting for more
constexpr std::size_t kMostRows = 2048;  // then the thread that fills rows waits
constexpr auto kLivePause = 5ms;
constexpr std::chrono::milliseconds kLiveTick = 20ms;
constexpr std::chrono::milliseconds kFilePause = 500ms;  // between two ticks as well

}  // namespace

WriteBehind::WriteBehind(ResultFile& file, Tick tick)
    : file_(file), tick_(std::move(tick)), pause_(file.isLive() ? kLivePause : kFilePause) {
    thread_ = std::thread([this] { run(); });
}

WriteBehind::~WriteBehind() {
    try {
        finish();
    } catch (const Poco::Exception&) {
        // The rows that fitted are kept; a failure can no longer be reported.
    }
}

void WriteBehind::Batch::append(const Batch& row) {
    values.insert(values.end(), row.values.begin(), row.values.end());
    groups.insert(groups.end(), row.groups.begin(), row.groups.end());
    ++rows;
}

void WriteBehind::Batch::clear() {
    values.clear();
    groups.clear();
    rows = 0;
}

void WriteBehind::endRow() {
    row_.groups.push_back(0);
    std::size_t rows = 0;
    {
        std::unique_lock lock(mutex_);
        change_.wait(lock, [this] { return waiting_.rows < kMostRows; });
        waiting_.append(row_);
        rows = waiting_.rows;
    }
    if (rows == 1 || rows == kBatchRows) change_.notify_all();
    row_.clear();
    raiseFailure();
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
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    change_.notify_all();
    thread_.join();
    raiseFailure();
}

void WriteBehind::raiseFailure() {
    if (!hasFailed_.load(std::memory_order_acquire)) return;
    hasFailed_.store(false);
    const std::unique_ptr<Poco::Exception> failure = std::move(failure_);
    failure->rethrow();
}

// In the writing thread

void WriteBehind::run() {
    Batch batch;
    std::unique_lock lock(mutex_);
    for (;;) {
        waitForRows(lock);
        if (waiting_.rows == 0) return;
        std::swap(batch, waiting_);
        lock.unlock();
        change_.notify_all();
        guarded([&] { write(batch); });
        batch.clear();
        lock.lock();
    }
}

bool WriteBehind::isDue() const { return ended_ || waiting_.rows >= kBatchRows; }

/// Until there are rows to write, or no more will come.
void WriteBehind::waitForRows(std::unique_lock<std::mutex>& lock) {
    while (waiting_.rows == 0 && !ended_) idle(lock);
    change_.wait_until(lock, written_ + pause_, [this] { return isDue(); });
}

/// Waits for a row; where none comes in time, writes what its file still holds, or ticks.
void WriteBehind::idle(std::unique_lock<std::mutex>& lock) {
    const auto hasCome = [this] { return waiting_.rows > 0 || ended_; };
    if (holds_) {
        if (change_.wait_until(lock, written_ + pause_, hasCome)) return;
        lock.unlock();
        guarded([this] { flush(); });
        lock.lock();
    } else if (!wantsTick_) {
        change_.wait(lock, [&] { return hasCome() || wantsTick_; });
    } else {
        if (change_.wait_for(lock, file_.isLive() ? kLiveTick : kFilePause, hasCome)) return;
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

void WriteBehind::write(const Batch& batch) {
    const double* value = batch.values.data();
    auto group = batch.groups.begin();
    for (std::size_t row = 0; row < batch.rows; ++row) {
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
    holds_ = true;
    if (file_.isLive() || Clock::now() - written_ >= pause_) flush();
}

void WriteBehind::flush() {
    holds_ = false;
    file_.flush();
    written_ = Clock::now();
}

}  // namespace Kavelin::RecordingIO
