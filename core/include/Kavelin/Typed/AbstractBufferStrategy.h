#pragma once

#include <Kavelin/Core/PinCounts.h>
#include <Kavelin/Typed/SampleFeed.h>

#include <functional>

namespace Kavelin::Core {

/// How an input pin keeps what it receives. D is a `TimeStampedData`.
template <class D>
class AbstractBufferStrategy {
public:
    virtual ~AbstractBufferStrategy() = default;
    /// Stores one sample, by copy or by reference as the buffer kind says.  [writer's thread]
    virtual void put(const D& sample) = 0;
    /// Hands out the next sample.  @return false, leaving `out` alone, when there is none. What `out` points
    /// to stays valid until the next `get`.  [reader's thread]
    virtual bool get(const D*& out) = 0;
    /// Drops everything stored.
    virtual void clear() = 0;
    virtual unsigned capacity() = 0;
    virtual bool isEmpty() = 0;

    /// What happened to the samples since the strategy was built.
    virtual PinCounts counts() = 0;
    virtual bool isOverHalfFull() = 0;
    /// Stores all samples of a feed, as one operation.
    virtual void putAll(SampleFeed<D>& feed) = 0;
    /// Shows what is stored, the oldest first.
    virtual void visit(const std::function<void(const D&)>& visit) = 0;
};

}  // namespace Kavelin::Core
