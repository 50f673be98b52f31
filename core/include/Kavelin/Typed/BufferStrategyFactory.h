#pragma once

#include <Kavelin/Typed/QueueBuffer.h>
#include <Kavelin/Typed/SimpleBufferStrategy.h>
#include <Kavelin/Typed/SingleValueBuffer.h>
#include <Kavelin/Typed/SingleValuePtrBuffer.h>
#include <Kavelin/Typed/SynchronizedBufferStrategy.h>
#include <Kavelin/Typed/ThreadSafeBufferStrategy.h>

#include <memory>

namespace Kavelin::Core {

/// The family depends on whether another thread may write while the reader reads.
enum class BufferFamily { kSimple, kThreadSafe, kSynchronized };

/// A new strategy: a single value for size 1, a queue of that size from 2 on, none for 0.
/// @param reader the reader's synchronizer, needed for the synchronized family.
template <class D>
std::unique_ptr<AbstractBufferStrategy<D>> makeBufferStrategy(BufferFamily family, unsigned size, bool lifo,
                                                              Synchronizer* reader) {
    const auto make = [&]<class Buffer, class Simple>(Buffer*,
                                                      Simple*) -> std::unique_ptr<AbstractBufferStrategy<D>> {
        switch (family) {
            case BufferFamily::kSimple:
                return std::make_unique<SimpleBufferStrategy<Simple>>(size);
            case BufferFamily::kThreadSafe:
                return std::make_unique<ThreadSafeBufferStrategy<Buffer>>(size);
            case BufferFamily::kSynchronized:
                return std::make_unique<SynchronizedBufferStrategy<Buffer>>(size, *reader);
        }
        return nullptr;
    };
    if (size == 0) return nullptr;
    if (size == 1)
        return make(static_cast<SingleValueBuffer<D>*>(nullptr),
                    static_cast<SingleValuePtrBuffer<D>*>(nullptr));
    if (lifo) return make(static_cast<LifoBuffer<D>*>(nullptr), static_cast<LifoBuffer<D>*>(nullptr));
    return make(static_cast<FifoBuffer<D>*>(nullptr), static_cast<FifoBuffer<D>*>(nullptr));
}

}  // namespace Kavelin::Core
