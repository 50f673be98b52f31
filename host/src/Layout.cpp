#include "Layout.h"

#include <Kavelin/Core/Source.h>
#include <Poco/Exception.h>

#include "RoomGate.h"
#include "Topology.h"

namespace Kavelin::Core {

void Layout::forget(const Filter& filter) {
    std::erase(filters, &filter);
    plan.forget(filter);
    inbox.noteChange();
}

void Layout::requireNotRunning(const char* what) const {
    if (state.isRunning())
        throw Poco::IllegalStateException("Layout '" + name + "' is running; stop it before you " + what);
}

void Layout::rebuildPlan() {
    const TopologyLock lock;
    inbox.clearChange();
    plan.rebuild(filters, lock);
    neighbours.rebuild(*this, lock);
    updateWaits(lock);
    for (Layout* other : runningLayouts(lock))
        if (other != this) other->inbox.noteChangeElsewhere();
}

void Layout::noteTopologyChange(const TopologyLock& lock) {
    inbox.noteChange();
    if (state.isRunning()) updateWaits(lock);
    inbox.wakeIfSleeping();
}

void Layout::updateWaits(const TopologyLock& lock) {
    const bool fed = canStillBeFed(*this, lock);
    for (Filter* filter : filters) filter->getSynchronizer()->setIsFed(fed);
}

void Layout::beginRun(bool mayWait) {
    inbox.clearStop();
    state.setHasEnded(false);
    inbox.noteChange();
    neighbours.beginRun(TopologyLock());
    for (Filter* filter : filters) {
        if (auto* source = dynamic_cast<Source*>(filter)) source->resume();
        if (mayWait) {
            filter->getSynchronizer()->resume();
        } else {
            filter->getSynchronizer()->interrupt();
        }
    }
}

void Layout::stop() {
    inbox.requestStop();
    for (Filter* filter : filters) {
        filter->getSynchronizer()->interrupt();
        if (auto* source = dynamic_cast<Source*>(filter)) source->interrupt();
    }
    inbox.wake();
    RoomGate::instance().open();
}

void Layout::endRun() {
    state.setHasEnded(true);
    {
        const TopologyLock lock;
        std::erase(runningLayouts(lock), this);
        for (Layout* other : runningLayouts(lock)) {
            other->updateWaits(lock);
            other->inbox.wake();
        }
    }
    state.setIsRunning(false);
}

}  // namespace Kavelin::Core
