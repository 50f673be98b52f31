#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "ReadyList.h"

namespace Kavelin::Core {

class Filter;
struct InputTally;
class PairingWatch;
class Source;
class Synchronizer;
class TopologyLock;

/// What a round of a layout calls: the sources, and the other filters in call order, each with a mark that
/// says whether it may have something to take.  [layout thread, or the layout not running]
class RoundPlan {
public:
    /// What a call of a filter touches first: see `expect`.
    using Touched = std::array<const char*, 4>;

    struct SourceEntry {
        Filter* filter;
        Source* source;
        Synchronizer* synchronizer;
        bool failed;                 // without making progress: it would fail again for ever
        std::optional<double> next;  // what it said when it was last asked; none at its end
        std::uint32_t changes;       // of its synchronizer, by then
    };
    struct Entry {
        Filter* filter;
        Synchronizer* synchronizer;
        InputTally* tally;
        PairingWatch* pairing;  // null when there is nothing to compare
        bool fedFromElsewhere;  // by filters that are not in this layout
        bool isPlain;           // neither that nor synchronous: the tally tells all
        Touched touched;        // what a call touches first: see expect
    };

    /// Plans for the filters of a layout, given in the order in which they were added, and marks them all.
    void rebuild(const std::vector<Filter*>& filters, const TopologyLock& lock);
    void forget(const Filter& filter);
    /// Marks the filters that another thread may have fed.
    void markFedFromElsewhere();

    std::vector<SourceEntry>& sources() { return sources_; }
    const std::vector<SourceEntry>& sources() const { return sources_; }
    const std::vector<Entry>& entries() const { return entries_; }
    /// Unmarks and visits the marked entries, in their order. One that is marked meanwhile, at or before the
    /// one visited, stays for the next time. @param visit of an entry; returns false to end it.
    template <class Visit>
    void visitReady(const Visit& visit) {
        if (entries_.size() < kMany) return ready_.visit([&](std::size_t at) { return visit(entries_[at]); });
        ready_.visit([&](std::size_t at) {
            if (at + kAhead < entries_.size()) expect(entries_[at + kAhead]);
            return visit(entries_[at]);
        });
    }

private:
    static constexpr std::size_t kMany = 32;
    static constexpr std::size_t kAhead = 2;

    // Has the processor fetch what the call of a filter touches, while those before it work: with hundreds of
    // filters it would wait for that otherwise.
    static void expect(const Entry& entry) {
        constexpr std::ptrdiff_t kLine = 64;
        const auto [own, input, inputEnd, outputEnd] = entry.touched;
        for (const char* part : {own, input, inputEnd, outputEnd}) {
            __builtin_prefetch(part);
            __builtin_prefetch(part + kLine);
        }
    }
    void add(Filter& filter, const TopologyLock& lock);
    void watch(std::size_t position, const TopologyLock& lock);

    std::vector<SourceEntry> sources_;
    std::vector<Entry> entries_;
    ReadyList ready_;
};

}  // namespace Kavelin::Core
