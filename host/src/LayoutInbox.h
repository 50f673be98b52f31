#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "Bell.h"
#include "RoomGate.h"

namespace Kavelin::Core {

/// What other threads tell the thread that runs a layout: that samples came, that connections changed, that
/// it is to stop. Wakes it where it sleeps.
class LayoutInbox {
public:
    // [any thread]
    void noteFed() {
        // The buffer's mutex orders this with the reader's look into the buffer:
        // one flag serves many samples.
        if (!fed_.load(std::memory_order_relaxed)) fed_.store(true);
        wakeIfSleeping();
    }
    void noteChange() { changed_.store(true); }
    /// Another layout has looked up its connections: whoever waits for the end of others may now wait for its own.
    void noteChangeElsewhere() {
        changedElsewhere_.store(true);
        wakeIfSleeping();
    }
    void requestStop() { stop_.store(true); }
    void wake() {
        const std::lock_guard lock(mutex_);
        wakeUp_.notify_all();
        if (bell_) bell_->ring();
    }
    void wakeIfSleeping() {
        if (sleeping_.load()) wake();
    }
    bool isStopRequested() const { return stop_.load(); }
    /// Whether its thread sleeps and no samples have come since.
    bool isIdle() const { return sleeping_.load() && !fed_.load(); }
    bool hasChanged() const { return changed_.load(std::memory_order_acquire); }
    bool hasNews() const { return fed_.load() || changed_.load(); }
    bool hasChangedElsewhere() const { return changedElsewhere_.load(); }

    // [layout thread, or the thread that begins the run]
    /// Clears the notice that samples came.  @return whether there was one.
    bool takeFed() {
        if (!fed_.load(std::memory_order_relaxed)) return false;
        fed_.store(false);
        return true;
    }
    void clearChange() { changed_.store(false); }
    void clearStop() { stop_.store(false); }
    /// The bell of the lane that runs the layout, to be rung too; null for none.
    void setBell(std::shared_ptr<Bell> bell) {
        const std::lock_guard lock(mutex_);
        bell_ = std::move(bell);
    }
    /// Whoever wakes looks at everything again.
    void setIsSleeping(bool sleeping) {
        sleeping_.store(sleeping);
        if (!sleeping) changedElsewhere_.store(false);
    }
    /// Sleeps until there is news, a stop is requested, or `isOver` is true.
    template <class Over>
    void sleepUntilNews(const Over& isOver) {
        std::unique_lock lock(mutex_);
        setIsSleeping(true);
        RoomGate::instance().openIfWanted();  // a source does not wait for a layout that sleeps
        wakeUp_.wait(lock,
                     [&] { return hasNews() || hasChangedElsewhere() || isStopRequested() || isOver(); });
        setIsSleeping(false);
    }

private:
    std::atomic<bool> changed_{true};
    std::atomic<bool> changedElsewhere_{false};
    std::atomic<bool> fed_{false};
    std::atomic<bool> stop_{false};
    std::atomic<bool> sleeping_{false};
    std::mutex mutex_;
    std::condition_variable wakeUp_;
    std::shared_ptr<Bell> bell_;
};

}  // namespace Kavelin::Core
