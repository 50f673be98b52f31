#pragma once

#include <atomic>
#include <cstdint>

namespace Kavelin::Core {

/// What the input pins of a filter tell its layout: how many samples came and how many were taken, and a mark
/// that the filter is to be called.
///
/// As long as it is certain, `received` and `taken` are equal when there is nothing to take, and differ when
/// there is. It never is for a filter that other threads feed.  [layout thread, but for `isCertain`]
struct InputTally {
    std::uint64_t received = 0;  ///< samples that filters of the same thread added to the pins' buffers
    std::uint64_t taken = 0;     ///< samples that the pins took out of their buffers
    std::uint64_t unlisted = 0;  ///< stands for the word while no layout lists the filter
    std::uint64_t* readyWord = &unlisted;  ///< a word of the layout's list of filters to call
    std::uint64_t readyBit = 0;            ///< the filter's bit in it
    /// False after samples were thrown away: then only the pins know what is left. [reader's thread, or its
    /// synchronizer disabled]
    std::atomic<bool> isCertain{false};

    InputTally() = default;
    InputTally(const InputTally&) = delete;
    InputTally& operator=(const InputTally&) = delete;

    /// @param added whether there is one more to take, which there is not when another one was pushed out.
    void noteReceived(bool added) {
        received += added ? 1 : 0;
        *readyWord |= readyBit;
    }
    void noteDiscarded() { isCertain.store(false, std::memory_order_relaxed); }
    /// Whether the difference tells what is left.  [layout thread]
    bool isKnown() const { return isCertain.load(std::memory_order_relaxed); }
    /// The pins have nothing left. [layout thread, inside the filter's synchronizer]
    void settle() {
        received = taken;
        isCertain.store(true, std::memory_order_relaxed);
    }
    /// Begins to mark the filter in a layout's list.
    void enlist(std::uint64_t* word, std::uint64_t bit) {
        readyWord = word;
        readyBit = bit;
        noteDiscarded();
    }
    /// Ends that.
    void leave() { readyWord = &unlisted; }
};

}  // namespace Kavelin::Core
