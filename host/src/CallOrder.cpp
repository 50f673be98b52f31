#include "CallOrder.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <queue>

namespace Kavelin::Core {

namespace {

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

std::vector<std::vector<std::size_t>> successors(std::size_t count, const Edges& edges) {
    std::vector<std::vector<std::size_t>> lists(count);
    for (const auto& [from, to] : edges) lists[from].push_back(to);
    return lists;
}

/// Tarjan's search for strongly connected components (SIAM J. Comput. 1, 1972), without recursion: a chain
/// may be long.
class CycleSearch {
public:
    CycleSearch(std::size_t count, const Edges& edges)
        : next_(successors(count, edges)), found_(count, kNone), low_(count), number_(count, kNone) {
        for (std::size_t node = 0; node < count; ++node) {
            if (found_[node] == kNone) search(node);
        }
    }
    std::vector<std::size_t> numbers() && { return std::move(number_); }

private:
    struct Visit {
        std::size_t node;
        std::size_t edge;  // the next of its edges to follow
    };

    void search(std::size_t root) {
        enter(root);
        while (!visits_.empty()) {
            const std::size_t node = visits_.back().node;
            if (visits_.back().edge < next_[node].size()) {
                const std::size_t to = next_[node][visits_.back().edge++];
                if (found_[to] == kNone) {
                    enter(to);
                } else if (number_[to] == kNone) {
                    low_[node] = std::min(low_[node], found_[to]);
                }
                continue;
            }
            visits_.pop_back();
            if (!visits_.empty()) low_[visits_.back().node] = std::min(low_[visits_.back().node], low_[node]);
            if (low_[node] == found_[node]) close(node);
        }
    }
    void enter(std::size_t node) {
        found_[node] = low_[node] = count_++;
        open_.push_back(node);
        visits_.push_back({node, 0});
    }
    // The open nodes from this one on are a cycle.
    void close(std::size_t first) {
        for (std::size_t node = kNone; node != first;) {
            node = open_.back();
            open_.pop_back();
            number_[node] = cycles_;
        }
        ++cycles_;
    }

    const std::vector<std::vector<std::size_t>> next_;
    std::vector<std::size_t> found_;  // when each was reached
    std::vector<std::size_t> low_;    // the earliest that it leads back to
    std::vector<std::size_t> number_;
    std::vector<std::size_t> open_;
    std::vector<Visit> visits_;
    std::size_t count_ = 0;
    std::size_t cycles_ = 0;
};

/// What must come before what: of a cycle each before the next of the list, and the last of one that feeds
/// another before the first of that.
Edges precedences(const std::vector<std::size_t>& number, const Edges& edges) {
    const std::size_t count = number.size();
    std::vector<std::size_t> first(count, kNone), last(count, kNone);
    Edges all;
    for (std::size_t node = 0; node < count; ++node) {
        std::size_t& before = last[number[node]];
        if (before != kNone) {
            all.emplace_back(before, node);
        } else {
            first[number[node]] = node;
        }
        before = node;
    }
    for (const auto& [from, to] : edges) {
        if (number[from] != number[to]) all.emplace_back(last[number[from]], first[number[to]]);
    }
    return all;
}

}  // namespace

std::vector<std::size_t> cycleNumbers(std::size_t count, const Edges& edges) {
    return CycleSearch(count, edges).numbers();
}

std::vector<std::size_t> callOrder(std::size_t count, const Edges& edges) {
    const auto next = successors(count, precedences(cycleNumbers(count, edges), edges));
    std::vector<std::size_t> waitsFor(count, 0);
    for (const auto& list : next) {
        for (const std::size_t to : list) ++waitsFor[to];
    }
    std::priority_queue<std::size_t, std::vector<std::size_t>, std::greater<>> free;
    for (std::size_t node = 0; node < count; ++node) {
        if (waitsFor[node] == 0) free.push(node);
    }
    std::vector<std::size_t> order;
    while (!free.empty()) {
        order.push_back(free.top());
        free.pop();
        for (const std::size_t to : next[order.back()]) {
            if (--waitsFor[to] == 0) free.push(to);
        }
    }
    return order;
}

}  // namespace Kavelin::Core
