#pragma once

#include <Kavelin/Core/Export.h>
#include <Poco/Event.h>
#include <Poco/Mutex.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

namespace Kavelin::Core {

/// Keeps a filter's `process` apart from changes of its properties and connections.
///
/// One thread at a time runs `process`, inside a `ProcessScope`. A thread that changes something holds a
/// `DisablerLocker`: it is granted when `process` has returned, and keeps the next one from beginning. A
/// reader that waits in a synchronized buffer is woken by a disabler, so a change never waits for data.
///
/// Both are re-entrant: taking the locker inside `process` of the same filter, or again in a change handler
/// or an observer, costs a thread-local look-up and changes nothing. Disabling *another* filter from there
/// raises `Poco::IllegalStateException`, since two threads doing so could wait for each other.
class KAVELIN_API Synchronizer {
public:
    class KAVELIN_API DisablerLocker;
    class KAVELIN_API ProcessScope;

    Synchronizer();
    ~Synchronizer();
    Synchronizer(const Synchronizer&) = delete;
    Synchronizer& operator=(const Synchronizer&) = delete;

    /// Waits for `event` with `mutex` released, and holds `mutex` again on return: after a signal, a stop, or
    /// because someone wants this synchronizer disabled. Returns at once while stopped or being disabled.
    /// [thread that runs process; `mutex` held]
    void wait(Poco::FastMutex& mutex, Poco::Event& event);

    /// Wakes the reader that waits for `event`, if there is one.  [any thread; the event's buffer mutex held]
    void signal(Poco::Event& event);

    /// While interrupted, `wait` returns at once; a reader that is waiting is woken. [any thread]
    void interrupt();
    /// Lets `wait` wait again.  [any thread]
    void resume();
    /// Sets whether anything can still come. While nothing can, `wait` returns at once; a reader that is
    /// waiting is woken. [any thread]
    void setIsFed(bool fed);

    /// Whether the calling thread runs `process` inside this synchronizer or holds it disabled: what it reads
    /// then needs no further lock.  [any thread]
    bool isHeldHere() const { return held_.has(this); }

    /// Counts the changes: how often a locker has held this disabled.  [any thread]
    std::uint32_t getChanges() const { return changes_.load(std::memory_order_relaxed); }

    /// The counter for readers that wait here; lent, may be null. [no process running]
    void setWaitCounter(std::atomic<int>* counter) { waitCounter_ = counter; }

private:
    // What the calling thread is doing. Initial-exec: the library is loaded with the program, and this is
    // read at every property access inside process.
    struct Held {
        const Synchronizer* process = nullptr;
        const Synchronizer* disabled[2] = {nullptr, nullptr};

        bool has(const Synchronizer* s) const { return s == process || s == disabled[0] || s == disabled[1]; }
        bool none() const { return process == nullptr && disabled[0] == nullptr && disabled[1] == nullptr; }
    };
    static thread_local constinit Held held_ __attribute__((tls_model("initial-exec")));

    // Process and disabler each announce themselves and then look whether the other is there, so that one of
    // them always sees the other. That takes a memory barrier between the announcement and the look. While
    // nothing has been changed for some calls, the disabler, which is rare, has the kernel make it for both:
    // then a call of process costs two plain stores.
    static constexpr std::uint32_t kCalm = 64;

    void enterProcess() {
        if (calm_.load(std::memory_order_relaxed) < kCalm) [[unlikely]]
            return enterProcessWatchfully();
        running_.store(running_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (disablers_.load(std::memory_order_acquire) != 0) [[unlikely]]
            enterProcessSlowly();
    }
    void leaveProcess() {
        const std::uint32_t left = running_.load(std::memory_order_relaxed) - 1;
        if (calm_.load(std::memory_order_relaxed) < kCalm) [[unlikely]]
            running_.store(left);
        else
            running_.store(left, std::memory_order_release);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (disablers_.load(std::memory_order_acquire) != 0) [[unlikely]]
            announceChange();
    }
    void enterProcessWatchfully();
    void enterProcessSlowly();
    void announceChange();
    void disable();
    void enable();

    std::atomic<std::uint32_t> running_{0};    // calls of process, nested ones too; written by their thread
    std::atomic<std::uint32_t> disablers_{0};  // that hold or want this synchronizer
    std::atomic<std::uint32_t> calm_{0};       // calls of process since it was last disabled, up to kCalm
    std::atomic<std::uint32_t> changes_{0};
    std::atomic<unsigned> readers_{0};  // threads inside wait()
    std::atomic<int>* waitCounter_ = nullptr;
    std::mutex mutex_;  // guards what follows; a leaf below the buffers' mutexes
    std::condition_variable changed_;
    std::vector<Poco::Event*> waiting_;
    unsigned processWaiting_ = 0;
    bool processTurn_ = false;  // process goes next, so that a busy writer cannot starve it
    bool disabled_ = false;
    bool interrupted_ = false;
    bool fed_ = true;
};

/// Holds up to two synchronizers disabled, taken in a fixed order. Either may be null; both may be the same.
class KAVELIN_API Synchronizer::DisablerLocker {
public:
    /// @throws Poco::IllegalStateException from inside `process`, a handler or an observer of another filter.
    DisablerLocker(Synchronizer* first, Synchronizer* second) {
        const bool needFirst = first != nullptr && !first->isHeldHere();
        const bool needSecond = second != nullptr && second != first && !second->isHeldHere();
        if (needFirst || needSecond) acquire(needFirst ? first : nullptr, needSecond ? second : nullptr);
    }
    ~DisablerLocker() {
        if (taken_[0] != nullptr || taken_[1] != nullptr) release();
    }
    DisablerLocker(const DisablerLocker&) = delete;
    DisablerLocker& operator=(const DisablerLocker&) = delete;

private:
    void acquire(Synchronizer* first, Synchronizer* second);
    void release();
    Synchronizer* taken_[2] = {nullptr, nullptr};
};

/// Marks the calling thread as the one that runs `process` of a synchronizer's filter.
class KAVELIN_API Synchronizer::ProcessScope {
public:
    explicit ProcessScope(Synchronizer& synchronizer) : synchronizer_(synchronizer), outer_(held_.process) {
        synchronizer_.enterProcess();
        held_.process = &synchronizer_;
    }
    ~ProcessScope() {
        held_.process = outer_;
        synchronizer_.leaveProcess();
    }
    ProcessScope(const ProcessScope&) = delete;
    ProcessScope& operator=(const ProcessScope&) = delete;

    /// Yields the synchronizer to a thread that waits for it. To be called between two calls of `process`.
    void yield() {
        if (synchronizer_.disablers_.load(std::memory_order_relaxed) == 0) return;
        synchronizer_.leaveProcess();
        synchronizer_.enterProcess();
    }

private:
    Synchronizer& synchronizer_;
    const Synchronizer* outer_;
};

}  // namespace Kavelin::Core
