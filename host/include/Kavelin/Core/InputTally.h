#pragma once

#include <cstdint>

namespace Kavelin::Core {

/// What the input pins of a filter tell its layout: how many samples came and how many were taken, and a mark
/// that the filter is to be called.
struct InputTally {
    std::uint64_t received = 0;          ///< samples that filters of the same thread put into the pins
    std::uint64_t taken = 0;             ///< samples that the pins took out of their buffers
    std::uint64_t* readyWord = nullptr;  ///< a word of the layout's list of filters to call, or null
    std::uint64_t readyBit = 0;          ///< the filter's bit in it

    void noteReceived() {
        ++received;
        if (readyWord != nullptr) *readyWord |= readyBit;
    }
};

}  // namespace Kavelin::Core
