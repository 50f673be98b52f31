#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kavelin::Core {

/// A bit for each filter of a plan, set when the filter may have something to take.
class ReadyList {
public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    /// Makes room for `count` filters, none of them marked.
    void reset(std::size_t count) { words_.assign(count / kBits + 1, 0); }
    void mark(std::size_t position) { *word(position) |= bit(position); }
    /// Unmarks the first filter that is marked, from `position` on.  @return its position, or `kNone`.
    std::size_t take(std::size_t position) {
        std::size_t word = position / kBits;
        std::uint64_t marked = words_[word] & (~std::uint64_t{0} << (position % kBits));
        while (marked == 0) {
            if (++word == words_.size()) return kNone;
            marked = words_[word];
        }
        const int first = std::countr_zero(marked);
        words_[word] &= ~(std::uint64_t{1} << first);
        return word * kBits + static_cast<std::size_t>(first);
    }

    /// Where the mark of a filter lies; valid until the next `reset`.
    std::uint64_t* word(std::size_t position) { return &words_[position / kBits]; }
    static std::uint64_t bit(std::size_t position) { return std::uint64_t{1} << (position % kBits); }

private:
    static constexpr std::size_t kBits = 64;
    std::vector<std::uint64_t> words_{0};
};

}  // namespace Kavelin::Core
