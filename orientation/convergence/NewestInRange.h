#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kavelin::OrientationInternal {

/// Answers which of a growing number of keyed entries is the newest with its key in a range.
///
/// A binary trie over the bits of the keys, without nodes of one child, that notes in each node the newest
/// entry below it. Insertion and question walk at most one path and two paths of 64 nodes, however many
/// entries there are; a balanced set of keys makes it about log2 of their number. Source: Morrison, Journal
/// of the ACM 15(4), 1968 (the trie). The noted entries are our own.
class NewestInRange {
public:
    /// Forgets every entry and keeps the storage.
    void clear();

    /// Adds an entry.  @param index above 0 and above every index before it, below 2^31. Allocates as it
    /// grows.
    void insert(std::uint64_t key, std::size_t index);

    /// @return the largest index inserted with a key in [first, last]; 0 when there is none.
    std::size_t find(std::uint64_t first, std::uint64_t last) const;

private:
    /// A node by its number, or a key of its own by its number with kLeaf set; kNone at the root of an empty
    /// trie.
    using Link = std::uint32_t;
    static constexpr Link kLeaf = 0x80000000U;
    static constexpr Link kNone = 0xFFFFFFFFU;

    struct Leaf {
        std::uint64_t key;
        std::uint32_t newest;
    };
    struct Node {
        std::uint64_t prefix;  // of a key below; the bits above `bit` are those of all keys below
        std::array<Link, 2> child;
        std::uint32_t newest;
        std::uint8_t bit;  // the keys below differ here
    };
    struct Search {
        std::uint64_t first, last;
        std::uint32_t best;
    };

    Link addLeaf(std::uint64_t key, std::uint32_t index);
    Link& linkAt(Link parent, std::size_t side) {
        return parent == kNone ? root_ : nodes_[parent].child[side];
    }
    void search(Link link, Search& search) const;

    Link root_ = kNone;
    std::vector<Node> nodes_;
    std::vector<Leaf> leaves_;
};

}  // namespace Kavelin::OrientationInternal
