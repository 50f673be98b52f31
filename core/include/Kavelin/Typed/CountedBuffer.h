#pragma once

#include <Kavelin/Core/PinCounts.h>

namespace Kavelin::Core {

/// A buffer that counts its samples. Not locked.
template <class Buffer>
class CountedBuffer {
public:
    using Sample = typename Buffer::Sample;
    explicit CountedBuffer(unsigned capacity) : buffer_(capacity) {}

    void put(const Sample& sample) {
        ++counts_.put;
        counts_.dropped += buffer_.put(sample);
    }
    bool take(const Sample*& out) {
        const Sample* sample = buffer_.take();
        if (sample == nullptr) return false;
        ++counts_.taken;
        out = sample;
        return true;
    }
    void clear() {
        counts_.discarded += buffer_.size();
        buffer_.clear();
    }
    unsigned capacity() const { return buffer_.capacity(); }
    bool isEmpty() const { return buffer_.size() == 0; }
    bool isOverHalfFull() const { return 2 * buffer_.size() > buffer_.capacity(); }
    PinCounts counts() const {
        PinCounts counts = counts_;
        counts.buffered = buffer_.size();
        return counts;
    }

private:
    Buffer buffer_;
    PinCounts counts_;
};

}  // namespace Kavelin::Core
