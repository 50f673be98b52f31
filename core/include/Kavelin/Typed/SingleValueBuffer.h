#pragma once

#include <Kavelin/Typed/TimeStampedData.h>

#include <cstddef>
#include <utility>

namespace Kavelin::Core {

/// Keeps a copy of the newest sample only.
template <class D>
class SingleValueBuffer {
public:
    using Sample = D;
    explicit SingleValueBuffer(unsigned = 1) {}

    /// @return false when it pushed out another.
    bool put(const D& sample) {
        copySample(sample, slot_);
        return std::exchange(empty_, false);
    }
    const D* take() {
        if (empty_) return nullptr;
        std::swap(slot_, read_);  // as good as a copy, and cheaper: the slot is empty from here on
        empty_ = true;
        return &read_;
    }
    void clear() { empty_ = true; }
    unsigned capacity() const { return 1; }
    template <class Visit>
    void visit(const Visit& visit) const {
        if (!empty_) visit(slot_);
    }
    std::size_t size() const { return empty_ ? 0 : 1; }

private:
    D slot_{};
    D read_{};
    bool empty_ = true;
};

}  // namespace Kavelin::Core
