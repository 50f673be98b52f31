#pragma once

#include <cstdint>

namespace Kavelin::Core {

/// What the input pins of a filter tell the layout in whose thread they are filled: how much came, how much
/// was taken, and where to mark the filter as one to call.
struct InputTally {
    std::uint64_t received = 0;  ///< samples that filters of the same thread put into the pins
    std::uint64_t taken = 0;     ///< samples that the pins took out of their buffers
    std::uint64_t* readyWord =
        nullptr;                 ///< word of the layout's list of filters to call; null while not planned
    std::uint64_t readyBit = 0;  ///< the filter's bit in it

    void noteReceived() {
        ++received;
        if (readyWord != nullptr) *readyWord |= readyBit;
    }
};

}  // namespace Kavelin::Core
