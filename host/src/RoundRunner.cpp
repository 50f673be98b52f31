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

bool hasUnread(const Filter& filter) {
    const auto& inputs = filter.getInputPins();
    return std::any_of(inputs.begin(), inputs.end(),
                       [](const AbstractInputPin* pin) { return !pin->isEmpty(); });
}

/// Whether a call of `process` can take something without waiting for it.
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

}  // namespace

std::optional<double> RoundRunner::nextTimeStamp() {
    layout_.refreshPlan();
    std::optional<double> next;
    for (const RoundPlan::SourceEntry& entry : layout_.plan.sources()) {
        if (entry.failed || entry.source->atEnd()) continue;
        const double candidate = entry.source->nextTimeStamp();
        if (!next || candidate < *next) next = candidate;
    }
    return next;
}

bool RoundRunner::runRound() {
    const bool called = callSources();
    const bool took = callReady();
    return called || took;
}

bool RoundRunner::runPending() {
    layout_.refreshPlan();
    return callReady();
}

bool RoundRunner::callSources() {
    const std::optional<double> time = nextTimeStamp();
    if (!time) return false;
    time_ = *time;
    if (hook_) {
        hook_(*time);
        layout_.refreshPlan();
    }
    bool called = false;
    for (RoundPlan::SourceEntry& entry : layout_.plan.sources()) {
        if (layout_.inbox.isStopRequested()) break;
        if (entry.failed || entry.source->atEnd() || entry.source->nextTimeStamp() > *time) continue;
        const Synchronizer::ProcessScope scope(*entry.filter->getSynchronizer());
        called = true;
        const bool returned = callGuarded(*entry.filter);
        entry.failed = !returned && !entry.source->atEnd() && entry.source->nextTimeStamp() <= *time;
    }
    return called;
}

bool RoundRunner::callReady() {
    RoundPlan& plan = layout_.plan;
    bool took = false;
    // Filters marked later, at or before the one being called, wait for the next round.
    for (std::size_t at = plan.takeReady(0); at != ReadyList::kNone; at = plan.takeReady(at)) {
        took |= serve(plan.entries()[at]);
        if (layout_.inbox.isStopRequested()) break;
    }
    return took;
}

/// Calls a filter as long as a call takes something.  @return whether any did.
bool RoundRunner::serve(const RoundPlan::Entry& entry) {
    Synchronizer::ProcessScope scope(*entry.synchronizer);
    InputTally& tally = *entry.tally;
    bool took = false;
    while (canTake(*entry.filter)) {
        const std::uint64_t before = tally.taken;
        callGuarded(*entry.filter);
        if (entry.pairing != nullptr) entry.pairing->note();
        if (tally.taken == before) return took;
        took = true;
        // The usual case, known without asking every pin: everything that came was taken.
        if (tally.taken == tally.received && !entry.fedFromElsewhere) return true;
        if (layout_.inbox.isStopRequested()) return true;
        scope.yield();
    }
    if (!entry.fedFromElsewhere && !hasUnread(*entry.filter))
        tally.received = tally.taken;  // the rest was dropped
    return took;
}

bool RoundRunner::callGuarded(Filter& filter) {
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
