#pragma once

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
    };

    /// Plans for the filters of a layout, given in the order in which they were added, and marks them all.
    void rebuild(const std::vector<Filter*>& filters, const TopologyLock& lock);
    void forget(const Filter& filter);
    /// Marks the filters that another thread may have fed.
    void markFedFromElsewhere();

    std::vector<SourceEntry>& sources() { return sources_; }
    const std::vector<SourceEntry>& sources() const { return sources_; }
    const std::vector<Entry>& entries() const { return entries_; }
    /// Unmarks the first marked entry, from `position` on.  @return its position, or `ReadyList::kNone`.
    std::size_t takeReady(std::size_t position) { return ready_.take(position); }

private:
    void add(Filter& filter, const TopologyLock& lock);
    void watch(std::size_t position, const TopologyLock& lock);

    std::vector<SourceEntry> sources_;
    std::vector<Entry> entries_;
    ReadyList ready_;
};

}  // namespace Kavelin::Core
