#pragma once

#include <Kavelin/Core/Filter.h>

#include <string>
#include <vector>

#include "LayoutInbox.h"
#include "LayoutNeighbours.h"
#include "LayoutThread.h"
#include "RoundPlan.h"
#include "RoundRunner.h"
#include "RunState.h"

namespace Kavelin::Core {

/// The inside of a `LayoutManager`: the parts that run its filters, and what ties them together.
struct Layout {
    /// @param managerName lent: the layout manager's own name.
    explicit Layout(const std::string& managerName) : name(managerName) {}

    // Filters
    void forget(const Filter& filter);
    /// @throws Poco::IllegalStateException while a thread runs the layout. @param what the operation refused.
    void requireNotRunning(const char* what) const;
    bool hasSources() const { return !plan.sources().empty(); }

    // The plan
    /// Brings the plan up to date with the connections, and marks what other threads have fed.
    /// [layout thread, or the layout not running]
    /// @return whether the plan is a new one.
    bool refreshPlan() {
        const bool isNew = inbox.hasChanged();
        if (isNew) rebuildPlan();
        if (inbox.takeFed()) plan.markFedFromElsewhere();
        return isNew;
    }
    void rebuildPlan();
    /// A connection to or from one of the filters has changed.  [any thread]
    void noteTopologyChange(const TopologyLock& lock);
    /// Lets the filters wait for data only while some can still come. [any thread]
    void updateWaits(const TopologyLock& lock);

    // The run
    /// @param mayWait whether a filter may wait for data inside `process`. In the caller's thread and in a
    /// lane it must not: no other thread would deliver the data.
    void beginRun(bool mayWait);
    /// Asks it to end.  [any thread]
    void stop();
    void endRun();

    const std::string& name;
    std::vector<Filter*> filters;
    LayoutInbox inbox;
    RunState state;
    RoundPlan plan;
    LayoutNeighbours neighbours;
    RoundRunner rounds{*this};
    LayoutThread thread{*this};
};

}  // namespace Kavelin::Core
