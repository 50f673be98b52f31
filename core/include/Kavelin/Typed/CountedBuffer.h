#pragma once

#include <Kavelin/Core/PinCounts.h>
#include <Kavelin/Typed/SampleFeed.h>

#include <cstdint>

namespace Kavelin::Core {

/// A buffer that counts its samples. Not locked.
template <class Buffer>
class CountedBuffer {
public:
    using Sample = typename Buffer::Sample;
    explicit CountedBuffer(unsigned capacity) : buffer_(capacity) {}

    /// @return false when it pushed out another.
    bool put(const Sample& sample) {
        ++put_;
        return buffer_.put(sample);
    }
    void putAll(SampleFeed<Sample>& feed) {
        while (const Sample* sample = feed.next()) put(*sample);
    }
    /// Null when there is none.
    const Sample* take() {
        const Sample* sample = buffer_.take();
        if (sample != nullptr) ++taken_;
        return sample;
    }
    void clear() {
        discarded_ += buffer_.size();
        buffer_.clear();
    }
    /// All that is buffered, the oldest first.
    template <class Visit>
    void visit(const Visit& visit) const {
        buffer_.visit(visit);
    }
    unsigned capacity() const { return buffer_.capacity(); }
    bool isEmpty() const { return buffer_.size() == 0; }
    bool isOverHalfFull() const { return 2 * buffer_.size() > buffer_.capacity(); }
    PinCounts counts() const {
        const std::uint64_t buffered = buffer_.size();
        return {.put = put_,
                .taken = taken_,
                .dropped = put_ - taken_ - discarded_ - buffered,
                .discarded = discarded_,
                .buffered = buffered};
    }

private:
    Buffer buffer_;
    std::uint64_t put_ = 0;
    std::uint64_t taken_ = 0;
    std::uint64_t discarded_ = 0;
};

}  // namespace Kavelin::Core
