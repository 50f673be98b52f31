#include <Kavelin/Core/Synchronizer.h>
#include <Poco/Exception.h>

#include <algorithm>
#include <functional>

namespace Kavelin::Core {

thread_local constinit Synchronizer::Held Synchronizer::held_;

Synchronizer::Synchronizer() { waiting_.reserve(4); }
Synchronizer::~Synchronizer() = default;

void Synchronizer::wait(Poco::FastMutex& mutex, Poco::Event& event) {
    {
        std::lock_guard lock(mutex_);
        if (interrupted_ || !fed_ || state_.load() >= kDisabler) return;
        event.reset();  // a signal from before the buffer was found empty is stale
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
    // A reader counts itself before it releases the buffer's mutex, which the caller holds,
    // so none is missed.
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

void Synchronizer::setIsFed(bool fed) {
    std::lock_guard lock(mutex_);
    fed_ = fed;
    if (fed) return;
    for (Poco::Event* event : waiting_) event->set();
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

void Synchronizer::DisablerLocker::acquire(Synchronizer* first, Synchronizer* second) {
    if (!held_.none()) {
        throw Poco::IllegalStateException(
            "Only the own filter may be changed from inside process, a change handler or an observer");
    }
    if (std::less<>{}(second, first)) std::swap(first, second);
    for (Synchronizer* synchronizer : {first, second}) {
        if (synchronizer != nullptr) synchronizer->disable();
    }
    held_.disabled[0] = taken_[0] = first;
    held_.disabled[1] = taken_[1] = second;
}

void Synchronizer::DisablerLocker::release() {
    held_.disabled[0] = held_.disabled[1] = nullptr;
    for (Synchronizer* synchronizer : {taken_[1], taken_[0]}) {
        if (synchronizer != nullptr) synchronizer->enable();
    }
}

Synchronizer::ProcessScope::ProcessScope(Synchronizer& synchronizer)
    : synchronizer_(synchronizer), outer_(held_.process) {
    synchronizer_.enterProcess();
    held_.process = &synchronizer_;
}

Synchronizer::ProcessScope::~ProcessScope() {
    held_.process = outer_;
    synchronizer_.leaveProcess();
}

void Synchronizer::ProcessScope::yield() {
    if (synchronizer_.state_.load(std::memory_order_relaxed) < kDisabler) return;
    synchronizer_.leaveProcess();
    synchronizer_.enterProcess();
}

}  // namespace Kavelin::Core
