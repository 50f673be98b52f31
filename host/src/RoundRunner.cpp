#include "RoundRunner.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/Source.h>

#include <algorithm>
#include <stdexcept>

#include "Layout.h"
#include "PairingWatch.h"

namespace Kavelin::Core {

namespace {

/// Asks the pins whether a call of `process` can take something without waiting for it.
bool canTake(const Filter& filter) {
    bool unread = false;
    for (const AbstractInputPin* pin : filter.getInputPins()) {
        const bool needed = pin->getIsSynchronous() && !pin->isHolding();
        if (unread && !needed) continue;
        const bool empty = pin->isEmpty();
        if (empty && needed) return false;
        unread |= !empty;
    }
    return unread;
}

/// The same, without asking the pins where the tally tells.
inline bool canTake(const RoundPlan::Entry& entry) {
    InputTally& tally = *entry.tally;
    if (tally.isKnown()) [[likely]]
        return tally.received != tally.taken;
    const bool can = canTake(*entry.filter);
    if (!can && entry.isPlain) tally.settle();
    return can;
}

/// Asks a source what comes next: nothing when it is at its end, or failed for good.
inline void ask(RoundPlan::SourceEntry& entry) {
    entry.changes = entry.synchronizer->getChanges();
    entry.next.reset();
    if (!entry.failed && !entry.source->atEnd()) entry.next = entry.source->nextTimeStamp();
}

}  // namespace

std::optional<double> RoundRunner::nextTimeStamp() {
    layout_.refreshPlan();
    std::optional<double> next;
    for (RoundPlan::SourceEntry& entry : layout_.plan.sources()) {
        ask(entry);
        if (entry.next && (!next || *entry.next < *next)) next = entry.next;
    }
    return next;
}

bool RoundRunner::runRound(std::optional<double> time) {
    const bool called = time && callSources(*time);
    const bool took = callReady();
    return called || took;
}

bool RoundRunner::runPending() {
    layout_.refreshPlan();
    return callReady();
}

bool RoundRunner::callSources(double time) {
    time_ = time;
    if (hook_) {
        hook_(time);
        askChanged();
    }
    bool called = false;
    for (RoundPlan::SourceEntry& entry : layout_.plan.sources()) {
        if (layout_.inbox.isStopRequested()) break;
        if (!entry.next || *entry.next > time) continue;
        const Synchronizer::ProcessScope scope(*entry.synchronizer);
        called = true;
        const bool returned = callGuarded(*entry.filter);
        if (returned) continue;
        ask(entry);
        entry.failed = entry.next && *entry.next <= time;
    }
    return called;
}

/// After the hook, which may have changed sources, or connections.
void RoundRunner::askChanged() {
    const bool isPlanNew = layout_.refreshPlan();
    for (RoundPlan::SourceEntry& entry : layout_.plan.sources()) {
        if (isPlanNew || entry.changes != entry.synchronizer->getChanges()) ask(entry);
    }
}

bool RoundRunner::callReady() {
    bool took = false;
    layout_.plan.visitReady([&](const RoundPlan::Entry& entry) {
        took |= serve(entry);
        return !layout_.inbox.isStopRequested();
    });
    return took;
}

/// Calls a filter as long as a call takes something.  @return whether any did.
inline bool RoundRunner::serve(const RoundPlan::Entry& entry) {
    Synchronizer::ProcessScope scope(*entry.synchronizer);
    InputTally& tally = *entry.tally;
    bool took = false;
    while (canTake(entry)) {
        const std::uint64_t before = tally.taken;
        callGuarded(*entry.filter);
        if (entry.pairing != nullptr) entry.pairing->note();
        if (tally.taken == before) return took;
        took = true;
        if (tally.received == tally.taken && tally.isKnown()) [[likely]]
            return true;
        if (layout_.inbox.isStopRequested()) return true;
        scope.yield();
    }
    return took;
}

inline bool RoundRunner::callGuarded(Filter& filter) {
    try {
        filter.process();
        return true;
    } catch (const std::exception& error) {
        noteFailure(filter, error);
    } catch (...) {
        noteFailure(filter, std::runtime_error("something other than a std::exception was thrown"));
    }
    return false;
}

void RoundRunner::noteFailure(const Filter& filter, const std::exception& error) {
    double time = dynamic_cast<const Source*>(&filter) != nullptr ? time_ : 0.0;
    for (const AbstractInputPin* pin : filter.getInputPins()) time = std::max(time, pin->getLastTimeStamp());
    errors_.add(layout_.name, filter.getName(), time, error);
    if (stopOnError_) layout_.inbox.requestStop();
}

}  // namespace Kavelin::Core
