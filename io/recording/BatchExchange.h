#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace Kavelin::RecordingIO {

/// Hands filled batches from one thread to another, and the empty ones back: a fixed number of them, so that
/// the faster thread waits. All functions may be called from any thread.
template <class Batch>
class BatchExchange {
public:
    using Held = std::unique_ptr<Batch>;

    explicit BatchExchange(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) empty_.push_back(std::make_unique<Batch>());
    }

    /// Waits for an empty batch, with the contents that it was given back with. @return null when the
    /// exchange is closed.
    Held takeEmpty() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return closed_ || !empty_.empty(); });
        if (closed_) return nullptr;
        Held batch = std::move(empty_.back());
        empty_.pop_back();
        return batch;
    }
    void giveFull(Held batch) {
        change([&] { full_.push_back(std::move(batch)); });
    }

    /// Waits for the next full batch. @return null when there is none and the exchange
    /// is closed or interrupted.
    Held takeFull() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return closed_ || interrupted_ || !full_.empty(); });
        if (full_.empty()) return nullptr;
        Held batch = std::move(full_.front());
        full_.pop_front();
        return batch;
    }
    void giveEmpty(Held batch) {
        change([&] { empty_.push_back(std::move(batch)); });
    }

    /// Says that no more will come; full batches may still be taken.
    void close() {
        change([this] { closed_ = true; });
    }
    /// Until it is taken back, `takeFull` does not wait.
    void setInterrupted(bool interrupted) {
        change([&] { interrupted_ = interrupted; });
    }

private:
    template <class Change>
    void change(const Change& apply) {
        {
            const std::lock_guard lock(mutex_);
            apply();
        }
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Held> full_;
    std::vector<Held> empty_;
    bool closed_ = false;
    bool interrupted_ = false;
};

}  // namespace Kavelin::RecordingIO
