#pragma once

#include <cstdint>

namespace Kavelin::Core {

/// What happened to the samples put into an input pin: put == taken + dropped + discarded + buffered, always.
struct PinCounts {
    std::uint64_t put = 0;      ///< handed over by the writer
    std::uint64_t taken = 0;    ///< taken by the reader
    std::uint64_t dropped = 0;  ///< pushed out of a full buffer, overwritten, or put where there is no buffer
    std::uint64_t discarded = 0;  ///< thrown away by a reset or a change of the connection
    std::uint64_t buffered = 0;   ///< still there

    PinCounts& operator+=(const PinCounts& other) {
        put += other.put;
        taken += other.taken;
        dropped += other.dropped;
        discarded += other.discarded;
        buffered += other.buffered;
        return *this;
    }
};

}  // namespace Kavelin::Core
