#include "LayoutThread.h"

#include "Layout.h"
#include "LayoutGroups.h"
#include "RoomGate.h"
#include "Topology.h"

namespace Kavelin::Core {

void LayoutThread::start() {
    layout_.beginRun(true);
    enter(nullptr);
    launch([this] { runFreely(); });
}

void LayoutThread::enter(std::shared_ptr<Bell> bell) {
    wait();
    layout_.inbox.setBell(std::move(bell));
    layout_.state.setIsRunning(true);
    const TopologyLock lock;
    runningLayouts(lock).push_back(&layout_);
}

void LayoutThread::wait() {
    layout_.state.awaitLeft();  // another layout's thread may be running this one
    if (thread_.joinable()) thread_.join();
}

void LayoutThread::runFreely() {
    while (!layout_.inbox.isStopRequested()) {
        layout_.refreshPlan();
        const bool nothingComes = isAlone();  // asked first, so that earlier samples are seen below
        if (!waitForRoom()) break;
        const bool did = layout_.rounds.runRound();
        RoomGate::instance().openIfWanted();
        if (did) continue;
        if (nothingComes) break;
        // Its own sources have ended, but other layouts may still feed it. It must not wait for the end of a
        // layout that in turn waits for this one's end.
        Layout* const own[] = {&layout_};
        if (layout_.hasSources() && feedsItself(own)) break;
        layout_.inbox.sleepUntilNews([this] { return isAlone(); });
    }
    layout_.endRun();
}

bool LayoutThread::isAlone() const {
    Layout* const own[] = {&layout_};
    return nothingCanCome(own, true);
}

/// Keeps the sources from filling buffers in other layouts.  @return false after a stop.
bool LayoutThread::waitForRoom() const {
    if (!layout_.hasSources() || !layout_.neighbours.hasReaders()) return true;
    while (!layout_.inbox.isStopRequested()) {
        const Layout* const reader = layout_.neighbours.overfedReader(layout_);
        if (reader == nullptr) return true;
        // What came meanwhile is taken: the layout that is to make room may itself wait for room here.
        if (layout_.inbox.hasNews() && layout_.rounds.runPending())
            RoomGate::instance().openIfWanted();
        else if (!RoomGate::instance().waitBriefly(layout_, *reader))
            return true;  // filters wait for what only a source of the circle can send
    }
    return false;
}

}  // namespace Kavelin::Core
