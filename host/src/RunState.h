#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace Kavelin::Core {

/// What other threads may know of a layout's run.  [any thread]
class RunState {
public:
    using Flag = std::shared_ptr<const std::atomic<bool>>;

    /// Whether a thread of its own, or a lane's, runs the layout.
    bool isRunning() const { return running_.load(); }
    /// Whether the last run is over; false before the first.
    bool hasEnded() const { return ended_->load(); }
    /// The same, also when the layout is gone.
    Flag getEndFlag() const { return ended_; }
    /// Whether a filter waits for data inside `process`.
    bool isReaderWaiting() const { return waitingReaders_.load() > 0; }
    /// Where the filters count themselves while they wait.
    std::atomic<int>& getWaitCounter() { return waitingReaders_; }

    void setHasEnded(bool ended) { ended_->store(ended); }
    void setIsRunning(bool running) {
        const std::lock_guard lock(mutex_);
        running_.store(running);
        if (!running) left_.notify_all();
    }
    /// Waits until no thread runs the layout.
    void awaitLeft() {
        std::unique_lock lock(mutex_);
        left_.wait(lock, [this] { return !isRunning(); });
    }

private:
    std::atomic<bool> running_{false};
    std::shared_ptr<std::atomic<bool>> ended_ = std::make_shared<std::atomic<bool>>(false);
    std::atomic<int> waitingReaders_{0};
    std::mutex mutex_;
    std::condition_variable left_;
};

}  // namespace Kavelin::Core
