#pragma once

#include <vector>

#include "RunState.h"

namespace Kavelin::Core {

class AbstractInputPin;
class Filter;
struct Layout;
class Synchronizer;
class TopologyLock;

/// The layouts that feed a layout, and those that it feeds.  [layout thread, or the layout not running]
class LayoutNeighbours {
public:
    struct Feeder {
        const Layout* layout;  // for comparison only: it may no longer exist
        RunState::Flag ended;
    };

    void beginRun(const TopologyLock&) {
        formerFeeders_.clear();
        connected_.clear();
    }
    /// A connection that may end before it is looked up, and may have brought something all the same.
    /// [any thread]
    void noteConnection(const Layout& from, const TopologyLock& lock);
    /// Looks up the connections of `own`, after its plan was rebuilt.
    void rebuild(const Layout& own, const TopologyLock& lock);

    /// The layouts that feed this one; while there are none, those that have fed it since the run began.
    const std::vector<Feeder>& getFeeders() const { return feeders_.empty() ? formerFeeders_ : feeders_; }
    /// Whether a filter outside all layouts feeds this one. It can send as long as the program runs.
    bool isFedFromOutside() const { return fedFromOutside_; }
    bool hasReaders() const { return !feeds_.empty(); }
    /// A layout in which a buffer that this one feeds is more than half full and is going to be read; null for none.
    const Layout* overfedReader(const Layout& own) const;

private:
    struct Feed {  // a connection into another layout
        Synchronizer* writer;
        AbstractInputPin* input;
        Layout* reader;
    };

    void lookUpFeeders(const Layout& own, const Filter& filter);
    void lookUpFeeds(const Layout& own, Filter& filter, const TopologyLock& lock);

    std::vector<Feed> feeds_;
    std::vector<Feeder> feeders_;
    std::vector<Feeder> formerFeeders_;  // all since the run began
    std::vector<Feeder> connected_;      // since they were last looked up; guarded by the topology lock
    bool fedFromOutside_ = false;
};

}  // namespace Kavelin::Core
