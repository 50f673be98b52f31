#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kavelin::Core {

/// A bit for each filter of a plan, set when the filter may have something to take.
class ReadyList {
public:
    /// Makes room for `count` filters, none of them marked.
    void reset(std::size_t count) { words_.assign(count / kBits + 1, 0); }
    void mark(std::size_t position) { *word(position) |= bit(position); }
    /// Unmarks and visits the filters that are marked, in their order. One that is marked meanwhile, at or
    /// before the one visited, stays marked.  @param visit of a position; returns false to end it.
    template <class Visit>
    void visit(const Visit& visit) {
        for (std::size_t word = 0; word < words_.size(); ++word) {
            std::uint64_t later = ~std::uint64_t{0};
            while (const std::uint64_t marked = words_[word] & later) {
                const std::uint64_t first = marked & (~marked + 1);
                words_[word] &= ~first;
                if (!visit(word * kBits + static_cast<std::size_t>(std::countr_zero(first)))) return;
                later = ~(first | (first - 1));
            }
        }
    }

    /// Where the mark of a filter lies; valid until the next `reset`.
    std::uint64_t* word(std::size_t position) { return &words_[position / kBits]; }
    static std::uint64_t bit(std::size_t position) { return std::uint64_t{1} << (position % kBits); }

private:
    static constexpr std::size_t kBits = 64;
    std::vector<std::uint64_t> words_{0};
};

}  // namespace Kavelin::Core
