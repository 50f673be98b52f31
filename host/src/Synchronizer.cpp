#include <Kavelin/Core/Synchronizer.h>
#include <Poco/Exception.h>

#include <algorithm>
#include <functional>

#ifdef __linux__
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace Kavelin::Core {

namespace {

/// Whether the kernel can make every running thread of the program pass a memory barrier.
bool hasBarrier() {
#ifdef __linux__
    static const bool has = syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0) == 0;
    return has;
#else
    return false;
#endif
}

void makeBarrier() {
#ifdef __linux__
    syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0);  // cannot fail once registered
#endif
}

}  // namespace

thread_local constinit Synchronizer::Held Synchronizer::held_;

Synchronizer::Synchronizer() { waiting_.reserve(4); }
Synchronizer::~Synchronizer() = default;

void Synchronizer::wait(Poco::FastMutex& mutex, Poco::Event& event) {
    {
        std::lock_guard lock(mutex_);
        if (interrupted_ || !fed_ || disablers_.load() > 0) return;
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

/// For calls soon after a change. The one that ends this time of watch says so before it announces itself: a
/// disabler that does not know it yet has announced itself first, and is seen.
void Synchronizer::enterProcessWatchfully() {
    const std::uint32_t calm = calm_.load() + 1;
    if (calm < kCalm || hasBarrier()) calm_.store(calm);
    running_.store(running_.load() + 1);
    if (disablers_.load() != 0) enterProcessSlowly();
}

void Synchronizer::enterProcessSlowly() {
    std::unique_lock lock(mutex_);
    running_.fetch_sub(1);
    changed_.notify_all();
    ++processWaiting_;
    changed_.wait(lock, [this] { return !disabled_ && (processTurn_ || disablers_.load() == 0); });
    --processWaiting_;
    processTurn_ = false;
    running_.fetch_add(1);
}

void Synchronizer::announceChange() {
    std::lock_guard lock(mutex_);
    changed_.notify_all();
}

void Synchronizer::disable() {
    std::unique_lock lock(mutex_);
    disablers_.fetch_add(1);
    if (calm_.load() >= kCalm) makeBarrier();
    for (Poco::Event* event : waiting_) event->set();
    changed_.wait(lock, [this] { return !disabled_ && !processTurn_ && running_.load() == 0; });
    disabled_ = true;
    calm_.store(0);
    changes_.fetch_add(1, std::memory_order_relaxed);
}

void Synchronizer::enable() {
    std::lock_guard lock(mutex_);
    disabled_ = false;
    processTurn_ = processWaiting_ > 0;
    disablers_.fetch_sub(1);
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

}  // namespace Kavelin::Core
