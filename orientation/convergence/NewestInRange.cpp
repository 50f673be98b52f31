#include "orientation/convergence/NewestInRange.h"

#include <algorithm>
#include <bit>

namespace Kavelin::OrientationInternal {

void NewestInRange::clear() {
    root_ = kNone;
    nodes_.clear();
    leaves_.clear();
}

NewestInRange::Link NewestInRange::addLeaf(std::uint64_t key, std::uint32_t index) {
    leaves_.push_back({key, index});
    return static_cast<Link>(leaves_.size() - 1) | kLeaf;
}

void NewestInRange::insert(std::uint64_t key, std::size_t index) {
    const auto newest = static_cast<std::uint32_t>(index);
    if (root_ == kNone) {
        root_ = addLeaf(key, newest);
        return;
    }
    Link parent = kNone;
    std::size_t side = 0;
    Link link = root_;
    std::uint64_t difference = 0;
    for (;;) {
        if ((link & kLeaf) != 0) {
            Leaf& leaf = leaves_[link & ~kLeaf];
            difference = key ^ leaf.key;
            if (difference == 0) leaf.newest = newest;
            break;
        }
        Node& node = nodes_[link];
        difference = (key ^ node.prefix) >> node.bit >> 1 << node.bit << 1;
        if (difference != 0) break;
        node.newest = newest;
        parent = link;
        side = (key >> node.bit) & 1U;
        link = node.child[side];
    }
    if (difference == 0) return;

    const auto bit = static_cast<std::uint8_t>(63 - std::countl_zero(difference));
    const std::size_t own = (key >> bit) & 1U;
    Node fork{key, {link, link}, newest, bit};
    fork.child[own] = addLeaf(key, newest);
    nodes_.push_back(fork);
    linkAt(parent, side) = static_cast<Link>(nodes_.size() - 1);
}

std::size_t NewestInRange::find(std::uint64_t first, std::uint64_t last) const {
    Search wanted{first, last, 0};
    if (root_ != kNone && first <= last) search(root_, wanted);
    return wanted.best;
}

void NewestInRange::search(Link link, Search& wanted) const {
    if ((link & kLeaf) != 0) {
        const Leaf& leaf = leaves_[link & ~kLeaf];
        if (leaf.key >= wanted.first && leaf.key <= wanted.last)
            wanted.best = std::max(wanted.best, leaf.newest);
        return;
    }
    const Node& node = nodes_[link];
    if (node.newest <= wanted.best) return;
    const std::uint64_t below = (std::uint64_t{2} << node.bit) - 1;
    const std::uint64_t least = node.prefix & ~below;
    const std::uint64_t greatest = node.prefix | below;
    if (greatest < wanted.first || least > wanted.last) return;
    if (least >= wanted.first && greatest <= wanted.last) {
        wanted.best = node.newest;
        return;
    }
    search(node.child[0], wanted);
    search(node.child[1], wanted);
}

}  // namespace Kavelin::OrientationInternal
