#pragma once

#include <Kavelin/Typed/AbstractBufferStrategy.h>
#include <Kavelin/Typed/CountedBuffer.h>
#include <Poco/Mutex.h>

namespace Kavelin::Core {

/// What the two locked families share: their own mutex, held for the whole of every operation.
template <class Buffer>
class LockedBufferStrategy : public AbstractBufferStrategy<typename Buffer::Sample> {
public:
    using Sample = typename Buffer::Sample;
    using Lock = Poco::FastMutex::ScopedLock;
    explicit LockedBufferStrategy(unsigned capacity) : buffer_(capacity) {}

    void clear() override {
        const Lock lock(mutex_);
        buffer_.clear();
    }
    unsigned capacity() override {
        const Lock lock(mutex_);
        return buffer_.capacity();
    }
    bool isEmpty() override {
        const Lock lock(mutex_);
        return buffer_.isEmpty();
    }
    PinCounts counts() override {
        const Lock lock(mutex_);
        return buffer_.counts();
    }
    bool isOverHalfFull() override {
        const Lock lock(mutex_);
        return buffer_.isOverHalfFull();
    }
    void visit(const std::function<void(const Sample&)>& visit) override {
        const Lock lock(mutex_);
        buffer_.visit(visit);
    }

protected:
    /// [mutex held]
    bool take(const Sample*& out) {
        const Sample* const sample = buffer_.take();
        if (sample != nullptr) out = sample;
        return sample != nullptr;
    }

    Poco::FastMutex mutex_;
    CountedBuffer<Buffer> buffer_;
};

}  // namespace Kavelin::Core
