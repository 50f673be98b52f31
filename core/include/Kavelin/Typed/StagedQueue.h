#pragma once

#include <Kavelin/Core/Stage.h>
#include <Kavelin/Typed/SampleFeed.h>
#include <Kavelin/Typed/TimeStampedData.h>
#include <Poco/Mutex.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <utility>

namespace Kavelin::Core {

/// The samples of one writer, in blocks, each with the round in which it was sent. The writer appends while
/// another thread takes, without a lock: a block that was read goes back to the writer.
template <class D>
class SampleBlocks {
public:
    SampleBlocks() : writing_(new Block), reading_(writing_) {}
    ~SampleBlocks() {
        release(reading_);
        release(spare_);
        release(read_.load());
    }
    SampleBlocks(const SampleBlocks&) = delete;
    SampleBlocks& operator=(const SampleBlocks&) = delete;

    /// [writer's thread]
    void append(const D& sample, std::uint64_t round) {
        if (written_ == kSize) beginBlock();
        copySample(sample, writing_->samples[written_]);
        writing_->rounds[written_] = round;
        ++written_;
        appended_.store(appended_.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }
    /// The oldest sample, unless it was sent after `round`; null when there is none. It stays where it is
    /// until the next call.  [one other thread at a time]
    const D* take(std::uint64_t round) {
        const std::uint64_t taken = taken_.load(std::memory_order_relaxed);
        if (taken == appended_.load(std::memory_order_acquire)) return nullptr;
        if (at_ == kSize) endBlock();
        if (reading_->rounds[at_] > round) return nullptr;
        taken_.store(taken + 1, std::memory_order_relaxed);
        return &reading_->samples[at_++];
    }
    /// [any thread]
    std::uint64_t size() const {
        const std::uint64_t taken =
            taken_.load(std::memory_order_relaxed);  // first: it only follows the other
        return appended_.load(std::memory_order_relaxed) - taken;
    }

private:
    static constexpr std::size_t kSize = 64;
    struct Block {
        std::array<D, kSize> samples;
        std::array<std::uint64_t, kSize> rounds;
        Block* next = nullptr;
    };

    void beginBlock() {
        if (spare_ == nullptr) spare_ = read_.exchange(nullptr, std::memory_order_acquire);
        Block* block = spare_ == nullptr ? new Block : std::exchange(spare_, spare_->next);
        block->next = nullptr;
        writing_ = writing_->next = block;
        written_ = 0;
    }
    void endBlock() {
        Block* const ended = std::exchange(reading_, reading_->next);
        at_ = 0;
        ended->next = read_.load(std::memory_order_relaxed);
        while (!read_.compare_exchange_weak(ended->next, ended, std::memory_order_release)) {
        }
    }
    static void release(Block* block) {
        while (block != nullptr) delete std::exchange(block, block->next);
    }

    static constexpr std::size_t kLine = 64;  // threads that write different lines do not slow each other

    Block* writing_;
    std::size_t written_ = 0;  // of its samples
    Block* spare_ = nullptr;
    std::atomic<std::uint64_t> appended_{0};
    alignas(kLine) Block* reading_;
    std::size_t at_ = 0;
    std::atomic<std::uint64_t> taken_{0};
    std::atomic<Block*> read_{nullptr};  // blocks on their way back
};

/// The stage of one input pin. `Pin` takes delivered samples with `bufferAll(SampleFeed<D>&)`.
template <class D, class Pin>
class StagedQueue final : public Stage, private SampleFeed<D> {
public:
    /// @param pin lent until `close`.
    StagedQueue(Pin& pin, RoundCounter round) : pin_(pin), round_(std::move(round)) {}

    /// Keeps a sample until its round is delivered.  @return false when the stage is closed.
    /// [writer's thread]
    bool push(const D& sample) {
        if (closed_.load(std::memory_order_acquire)) [[unlikely]] {
            if (!std::exchange(wasSeenClosed_, true)) close();  // what was sent while it was being closed
            return false;
        }
        samples_.append(sample, round_->load(std::memory_order_relaxed));
        return true;
    }
    void deliver(std::uint64_t round) override {
        const Lock lock(mutex_);
        deliverLocked(round);
    }
    std::uint64_t waiting() const override { return samples_.size(); }
    void close() override {
        const Lock lock(mutex_);
        closed_.store(true, std::memory_order_release);
        deliverLocked(std::numeric_limits<std::uint64_t>::max());
    }

private:
    using Lock = Poco::FastMutex::ScopedLock;

    void deliverLocked(std::uint64_t round) {
        delivered_ = round;
        next_ = samples_.take(round);
        if (next_ != nullptr) pin_.bufferAll(*this);
    }
    const D* next() override {
        return next_ != nullptr ? std::exchange(next_, nullptr) : samples_.take(delivered_);
    }

    Pin& pin_;
    const RoundCounter round_;
    bool wasSeenClosed_ = false;  // by the writer
    SampleBlocks<D> samples_;
    Poco::FastMutex mutex_;  // of what takes; taken before the buffer's own
    std::uint64_t delivered_ = 0;
    const D* next_ = nullptr;
    std::atomic<bool> closed_{false};
};

}  // namespace Kavelin::Core
