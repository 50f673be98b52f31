#pragma once

#include <Kavelin/Typed/AbstractBufferStrategy.h>
#include <Kavelin/Typed/CountedBuffer.h>

namespace Kavelin::Core {

/// For writer and reader in one thread: no lock, never waits.
template <class Buffer>
class SimpleBufferStrategy final : public AbstractBufferStrategy<typename Buffer::Sample> {
public:
    using Sample = typename Buffer::Sample;
    explicit SimpleBufferStrategy(unsigned capacity) : buffer_(capacity) {}

    void put(const Sample& sample) override { buffer_.put(sample); }
    bool get(const Sample*& out) override { return buffer_.take(out); }
    void clear() override { buffer_.clear(); }
    unsigned capacity() override { return buffer_.capacity(); }
    bool isEmpty() override { return buffer_.isEmpty(); }
    PinCounts counts() override { return buffer_.counts(); }
    bool isOverHalfFull() override { return buffer_.isOverHalfFull(); }

private:
    CountedBuffer<Buffer> buffer_;
};

}  // namespace Kavelin::Core
