#pragma once

#include <Kavelin/Core/Stage.h>
#include <Kavelin/Typed/QueueBuffer.h>
#include <Kavelin/Typed/TimeStampedData.h>
#include <Poco/Mutex.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <utility>

namespace Kavelin::Core {

/// A sample and the round in which it was sent; `SentSample` is the writer's, still to be copied.
template <class D>
struct StagedSample {
    D sample{};
    std::uint64_t round = 0;
};
template <class D>
struct SentSample {
    const D& sample;
    std::uint64_t round;
};
template <class D>
void copySample(const SentSample<D>& from, StagedSample<D>& to) {
    copySample(from.sample, to.sample);
    to.round = from.round;
}

/// The stage of one input pin. `Pin` takes a delivered sample with `buffer(const D&)`.
template <class D, class Pin>
class StagedQueue final : public Stage {
public:
    /// @param pin lent until `close`.
    StagedQueue(Pin& pin, RoundCounter round) : pin_(pin), round_(std::move(round)) {}

    /// Keeps a sample until its round is delivered.  @return false when the stage is closed.
    /// [writer's thread]
    bool push(const D& sample) {
        if (closed_.load(std::memory_order_acquire)) return false;
        const Lock lock(mutex_);
        if (closed_.load(std::memory_order_relaxed)) return false;
        queue_.put(SentSample<D>{sample, round_->load(std::memory_order_relaxed)});
        return true;
    }
    void deliver(std::uint64_t round) override {
        const Lock lock(mutex_);
        deliverLocked(round);
    }
    void close() override {
        const Lock lock(mutex_);
        deliverLocked(std::numeric_limits<std::uint64_t>::max());
        closed_.store(true, std::memory_order_release);
    }

private:
    using Lock = Poco::FastMutex::ScopedLock;
    static constexpr unsigned kUnbounded = 0;

    void deliverLocked(std::uint64_t round) {
        if (closed_.load(std::memory_order_relaxed)) return;
        while (next_ != nullptr || (next_ = queue_.take()) != nullptr) {
            if (next_->round > round) return;
            pin_.buffer(next_->sample);
            next_ = nullptr;
        }
    }

    Pin& pin_;
    const RoundCounter round_;
    Poco::FastMutex mutex_;  // taken before the buffer's own
    FifoBuffer<StagedSample<D>> queue_{kUnbounded};
    const StagedSample<D>* next_ = nullptr;  // taken out of the queue; its round is not delivered yet
    std::atomic<bool> closed_{false};
};

}  // namespace Kavelin::Core
