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

    /// @return false when it pushed out another.
    bool put(const D& sample) {
        const bool fits = size_ != room_ || makeRoom();
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
            oldest_ = position(1);
        }
        if (size_ == 0) oldest_ = 0;  // start over in the slots that are warm
        return read_.get();
    }
    void clear() { size_ = oldest_ = 0; }
    unsigned capacity() const { return capacity_; }
    std::size_t size() const { return size_; }
    /// The oldest first.
    template <class Visit>
    void visit(const Visit& visit) const {
        for (std::size_t age = 0; age < size_; ++age) visit(*slots_[position(age)]);
    }

private:
    std::size_t position(std::size_t age) const { return (oldest_ + age) & mask_; }
    // The ring is full: it grows, or else the oldest sample goes.  @return whether it grew.
    [[gnu::noinline]] bool makeRoom() {
        if (size_ != capacity_ || capacity_ == 0) {
            grow();
            return true;
        }
        oldest_ = position(1);
        --size_;
        return false;
    }
    // Doubles the full ring, oldest first from slot 0 on.
    void grow() {
        const std::size_t wanted = slots_.empty() ? 2 : 2 * slots_.size();
        std::rotate(slots_.begin(), slots_.begin() + static_cast<std::ptrdiff_t>(oldest_), slots_.end());
        slots_.resize(wanted);
        room_ = capacity_ != 0 && wanted > capacity_ ? capacity_ : wanted;
        for (std::size_t slot = size_; slot < wanted; ++slot) slots_[slot] = std::make_unique<D>();
        oldest_ = 0;
        mask_ = wanted - 1;
    }

    std::vector<std::unique_ptr<D>> slots_;  // as many as a power of two
    std::unique_ptr<D> read_ = std::make_unique<D>();
    std::size_t oldest_ = 0;
    std::size_t size_ = 0;
    std::size_t room_ = 0;  // how many of the slots may be taken
    std::size_t mask_ = 0;
    unsigned capacity_;
};

template <class D>
using FifoBuffer = QueueBuffer<D, false>;
template <class D>
using LifoBuffer = QueueBuffer<D, true>;

}  // namespace Kavelin::Core
