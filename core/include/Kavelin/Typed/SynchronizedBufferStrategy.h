#pragma once

#include <Kavelin/Core/Synchronizer.h>
#include <Kavelin/Typed/LockedBufferStrategy.h>
#include <Poco/Event.h>

namespace Kavelin::Core {

/// For a reader that waits for data from another thread: locked; when there is nothing, `get` waits once,
/// through the reader's synchronizer.
template <class Buffer>
class SynchronizedBufferStrategy final : public LockedBufferStrategy<Buffer> {
public:
    using typename LockedBufferStrategy<Buffer>::Sample;
    using typename LockedBufferStrategy<Buffer>::Lock;

    /// @param reader the reader's synchronizer, lent for the strategy's life.
    SynchronizedBufferStrategy(unsigned capacity, Synchronizer& reader)
        : LockedBufferStrategy<Buffer>(capacity), reader_(reader) {}
    /// Wakes a reader that waits.
    ~SynchronizedBufferStrategy() override {
        const Lock lock(this->mutex_);
        reader_.signal(filled_);
    }

    void put(const Sample& sample) override {
        const Lock lock(this->mutex_);
        this->buffer_.put(sample);
        reader_.signal(filled_);
    }
    bool get(const Sample*& out) override {
        const Lock lock(this->mutex_);
        if (this->buffer_.isEmpty()) reader_.wait(this->mutex_, filled_);
        return this->take(out);
    }
    void putAll(SampleFeed<Sample>& feed) override {
        const Lock lock(this->mutex_);
        this->buffer_.putAll(feed);
        reader_.signal(filled_);
    }

private:
    Synchronizer& reader_;
    Poco::Event filled_;
};

}  // namespace Kavelin::Core
