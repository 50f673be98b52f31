#pragma once

namespace Kavelin::Core {

/// Gives samples, one after the other.
template <class D>
class SampleFeed {
public:
    /// The next one; null when there are no more. It stays readable until the next call.
    virtual const D* next() = 0;

protected:
    ~SampleFeed() = default;
};

}  // namespace Kavelin::Core
