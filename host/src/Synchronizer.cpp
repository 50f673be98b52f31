#include <Kavelin/Core/Synchronizer.h>
#include <Poco/Exception.h>

#include <algorithm>
#include <functional>

namespace Kavelin::Core {

namespace {

// What the calling thread is doing. Initial-exec: the library is loaded with the program, and this is read at
// every property access inside process.
struct ThreadState {
    Synchronizer* process = nullptr;
    Synchronizer* disabled[2] = {nullptr, nullptr};

    bool owns(const Synchronizer* s) const { return s == process || s == disabled[0] || s == disabled[1]; }
    bool idle() const { return process == nullptr && disabled[0] == nullptr && disabled[1] == nullptr; }
};
thread_local constinit ThreadState thisThread __attribute__((tls_model("initial-exec")));

}  // namespace

Synchronizer::Synchronizer() { waiting_.reserve(4); }
Synchronizer::~Synchronizer() = default;

void Synchronizer::wait(Poco::FastMutex& mutex, Poco::Event& event) {
    {
        std::lock_guard lock(mutex_);
        if (interrupted_ || state_.load() >= kDisabler) return;
        event.reset();  // a signal from before the buffer was found empty says nothing
        waiting_.push_back(&event);
        readers_.fetch_add(1);
    }
    if (waitCounter_ != nullptr) waitCounter_->fetch_add(1);
    mutex.unlock();
    event.wait();
    mutex.lock();
    if (waitCounter_ != nullptr) waitCounter_->fetch_sub(1);
    std::lock_guard lock(mutex_);
    std::erase(waiting_, &event);
    readers_.fetch_sub(1);
}

void Synchronizer::signal(Poco::Event& event) {
    // A reader counts itself before it releases the buffer's mutex, which the caller holds: none is missed.
    if (readers_.load() > 0) event.set();
}

void Synchronizer::interrupt() {
    std::lock_guard lock(mutex_);
    interrupted_ = true;
    for (Poco::Event* event : waiting_) event->set();
}

void Synchronizer::resume() {
    std::lock_guard lock(mutex_);
    interrupted_ = false;
}

void Synchronizer::enterProcessSlowly() {
    std::unique_lock lock(mutex_);
    state_.fetch_sub(kProcess);
    changed_.notify_all();
    ++processWaiting_;
    changed_.wait(lock, [this] { return !disabled_ && (processTurn_ || state_.load() < kDisabler); });
    --processWaiting_;
    processTurn_ = false;
    state_.fetch_add(kProcess);
}

void Synchronizer::announceChange() {
    std::lock_guard lock(mutex_);
    changed_.notify_all();
}

void Synchronizer::disable() {
    std::unique_lock lock(mutex_);
    state_.fetch_add(kDisabler);
    for (Poco::Event* event : waiting_) event->set();
    changed_.wait(lock,
                  [this] { return !disabled_ && !processTurn_ && (state_.load() & (kDisabler - 1)) == 0; });
    disabled_ = true;
}

void Synchronizer::enable() {
    std::lock_guard lock(mutex_);
    disabled_ = false;
    processTurn_ = processWaiting_ > 0;
    state_.fetch_sub(kDisabler);
    changed_.notify_all();
}

Synchronizer::DisablerLocker::DisablerLocker(Synchronizer* first, Synchronizer* second) {
    const ThreadState& thread = thisThread;
    const bool needFirst = first != nullptr && !thread.owns(first);
    const bool needSecond = second != nullptr && second != first && !thread.owns(second);
    if (needFirst || needSecond) acquire(needFirst ? first : nullptr, needSecond ? second : nullptr);
}

void Synchronizer::DisablerLocker::acquire(Synchronizer* first, Synchronizer* second) {
    if (!thisThread.idle()) {
        throw Poco::IllegalStateException(
            "Only the own filter may be changed from inside process, a change handler or an observer");
    }
    if (std::less<>{}(second, first)) std::swap(first, second);
    for (Synchronizer* synchronizer : {first, second}) {
        if (synchronizer != nullptr) synchronizer->disable();
    }
    taken_[0] = thisThread.disabled[0] = first;
    taken_[1] = thisThread.disabled[1] = second;
}

Synchronizer::DisablerLocker::~DisablerLocker() {
    if (taken_[0] == nullptr && taken_[1] == nullptr) return;
    thisThread.disabled[0] = thisThread.disabled[1] = nullptr;
    for (Synchronizer* synchronizer : {taken_[1], taken_[0]}) {
        if (synchronizer != nullptr) synchronizer->enable();
    }
}

Synchronizer::ProcessScope::ProcessScope(Synchronizer& synchronizer)
    : synchronizer_(synchronizer), outer_(thisThread.process) {
    synchronizer_.enterProcess();
    thisThread.process = &synchronizer_;
}

Synchronizer::ProcessScope::~ProcessScope() {
    thisThread.process = outer_;
    synchronizer_.leaveProcess();
}

void Synchronizer::ProcessScope::yield() {
    if (synchronizer_.state_.load(std::memory_order_relaxed) < kDisabler) return;
    synchronizer_.leaveProcess();
    synchronizer_.enterProcess();
}

}  // namespace Kavelin::Core
