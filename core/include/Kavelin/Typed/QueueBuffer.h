#pragma once

#include <Kavelin/Typed/TimeStampedData.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace Kavelin::Core {

/// A double-ended queue of copies with a fixed capacity; when it is full, the oldest goes first. Slots are
/// reused, so that nothing is allocated in the steady state, and are made only as the queue actually grows. A
/// sample taken stays where it is: its slot leaves the ring for as long as it is lent.
template <class D, bool kNewestFirst>
class QueueBuffer {
public:
    using Sample = D;
    explicit QueueBuffer(unsigned capacity) : capacity_(capacity) {}

    /// @param sample a D, or what `copySample` makes one of.  @return false when it pushed out another.
    template <class From>
    bool put(const From& sample) {
        const bool fits = size_ < slots_.size() || makeRoom();
        copySample(sample, *slots_[position(size_)]);
        ++size_;
        return fits;
    }
    const D* take() {
        if (size_ == 0) return nullptr;
        --size_;
        if constexpr (kNewestFirst) {
            std::swap(slots_[position(size_)], read_);
        } else {
            std::swap(slots_[oldest_], read_);
            oldest_ = next(oldest_);
        }
        if (size_ == 0) oldest_ = 0;  // start over in the slots that are warm
        return read_.get();
    }
    void clear() { size_ = oldest_ = 0; }
    unsigned capacity() const { return capacity_; }
    std::size_t size() const { return size_; }

private:
    std::size_t next(std::size_t slot) const { return slot + 1 == slots_.size() ? 0 : slot + 1; }
    std::size_t position(std::size_t age) const {
        const std::size_t slot = oldest_ + age;
        return slot < slots_.size() ? slot : slot - slots_.size();
    }
    // The ring is full: it grows, or else the oldest sample goes.  @return whether it grew.
    [[gnu::noinline]] bool makeRoom() {
        if (size_ == capacity_ && capacity_ != 0) {
            oldest_ = next(oldest_);
            --size_;
            return false;
        }
        grow();
        return true;
    }
    // Doubles the full ring, oldest first from slot 0 on.
    void grow() {
        std::size_t wanted = slots_.empty() ? 2 : 2 * slots_.size();
        if (capacity_ != 0 && wanted > capacity_) wanted = capacity_;
        std::rotate(slots_.begin(), slots_.begin() + static_cast<std::ptrdiff_t>(oldest_), slots_.end());
        while (slots_.size() < wanted) slots_.push_back(std::make_unique<D>());
        oldest_ = 0;
    }

    std::vector<std::unique_ptr<D>> slots_;
    std::unique_ptr<D> read_ = std::make_unique<D>();
    std::size_t oldest_ = 0;
    std::size_t size_ = 0;
    unsigned capacity_;
};

template <class D>
using FifoBuffer = QueueBuffer<D, false>;
template <class D>
using LifoBuffer = QueueBuffer<D, true>;

}  // namespace Kavelin::Core
