#pragma once

#include <Kavelin/Typed/LockedBufferStrategy.h>

namespace Kavelin::Core {

/// For writer and reader in different threads: locked, never waits for data.
template <class Buffer>
class ThreadSafeBufferStrategy final : public LockedBufferStrategy<Buffer> {
public:
    using typename LockedBufferStrategy<Buffer>::Sample;
    using typename LockedBufferStrategy<Buffer>::Lock;
    using LockedBufferStrategy<Buffer>::LockedBufferStrategy;

    void put(const Sample& sample) override {
        const Lock lock(this->mutex_);
        this->buffer_.put(sample);
    }
    bool get(const Sample*& out) override {
        const Lock lock(this->mutex_);
        return this->take(out);
    }
    void putAll(SampleFeed<Sample>& feed) override {
        const Lock lock(this->mutex_);
        this->buffer_.putAll(feed);
    }
};

}  // namespace Kavelin::Core
