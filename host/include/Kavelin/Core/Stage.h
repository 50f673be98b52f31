#pragma once

#include <Kavelin/Core/Export.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace Kavelin::Core {

/// The round that the layouts of one thread are working on; samples are marked with it as they are sent.
using RoundCounter = std::shared_ptr<const std::atomic<std::uint64_t>>;

/// Samples on their way from one thread to another, which reach the reader's buffer only when the round in
/// which they were sent is complete. Otherwise a reader in another thread would see half of a row.
class KAVELIN_API Stage {
public:
    virtual ~Stage();

    /// Puts what was sent in rounds up to `round` into the reader's buffer, in the order in which it was
    /// sent.  [reader's thread]
    virtual void deliver(std::uint64_t round) = 0;
    /// How many samples were sent and are not delivered.  [any thread]
    virtual std::uint64_t waiting() const = 0;
    /// Delivers everything; from then on samples go straight into the reader's buffer.  [any thread]
    virtual void close() = 0;
};

}  // namespace Kavelin::Core
