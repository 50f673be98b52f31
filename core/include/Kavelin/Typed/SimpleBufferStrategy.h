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
    bool get(const Sample*& out) override {
        const Sample* const sample = buffer_.take();
        if (sample != nullptr) out = sample;
        return sample != nullptr;
    }
    void clear() override { buffer_.clear(); }
    unsigned capacity() override { return buffer_.capacity(); }
    bool isEmpty() override { return buffer_.isEmpty(); }
    PinCounts counts() override { return buffer_.counts(); }
    bool isOverHalfFull() override { return buffer_.isOverHalfFull(); }
    void putAll(SampleFeed<Sample>& feed) override { buffer_.putAll(feed); }
    void visit(const std::function<void(const Sample&)>& visit) override { buffer_.visit(visit); }

    /// For the pin, which knows the kind and need not ask by way of virtual operations.
    CountedBuffer<Buffer>& buffer() { return buffer_; }

private:
    CountedBuffer<Buffer> buffer_;
};

}  // namespace Kavelin::Core
