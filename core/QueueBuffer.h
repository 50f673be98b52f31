#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace Kavelin::Core {

/// A double-ended queue of copies with a fixed capacity; when it is full, the oldest goes first. Its slots
/// are kept and reused, so that in the steady state nothing is allocated, and are made only as the queue
/// really grows.
template <class D, bool kNewestFirst>
class QueueBuffer {
public:
    using Sample = D;
    explicit QueueBuffer(unsigned capacity) : capacity_(capacity) {}

    std::size_t put(const D& sample) {
        const std::size_t dropped = size_ == capacity_ && capacity_ != 0 ? 1 : 0;
        if (dropped != 0) {
            oldest_ = next(oldest_);
            --size_;
        } else if (size_ == slots_.size()) {
            grow();
        }
        slots_[position(size_)] = sample;
        ++size_;
        return dropped;
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
        return &read_;
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
    // Doubles the ring, oldest first from slot 0 on.
    void grow() {
        std::size_t wanted = slots_.empty() ? 2 : 2 * slots_.size();
        if (capacity_ != 0 && wanted > capacity_) wanted = capacity_;
        std::vector<D> larger(wanted);
        for (std::size_t age = 0; age < size_; ++age) std::swap(larger[age], slots_[position(age)]);
        slots_ = std::move(larger);
        oldest_ = 0;
    }

    std::vector<D> slots_;
    D read_{};
    std::size_t oldest_ = 0;
    std::size_t size_ = 0;
    unsigned capacity_;
};

template <class D>
using FifoBuffer = QueueBuffer<D, false>;
template <class D>
using LifoBuffer = QueueBuffer<D, true>;

}  // namespace Kavelin::Core
