#include "RoomGate.h"

#include <algorithm>
#include <chrono>

#include "Layout.h"

namespace Kavelin::Core {

RoomGate& RoomGate::instance() {
    static RoomGate gate;
    return gate;
}

bool RoomGate::waitBriefly(const Layout& waiting, const Layout& reader) {
    std::unique_lock lock(mutex_);
    waits_.push_back({&waiting, &reader});
    const bool waits = !isCircle(waiting);
    if (waits) {
        waiting_.fetch_add(1);
        // Bounded, so that missing an opening just before costs only a moment.
        opened_.wait_for(lock, std::chrono::milliseconds(1));
        waiting_.fetch_sub(1);
    }
    std::erase_if(waits_, [&](const Wait& wait) { return wait.waiting == &waiting; });
    return waits;
}

/// Whether the layouts that wait for each other from this one on come back to it, and none has anything to take.
bool RoomGate::isCircle(const Layout& from) const {
    const Layout* at = &from;
    for (std::size_t step = 0; step < waits_.size(); ++step) {
        const auto wait = std::ranges::find(waits_, at, &Wait::waiting);
        if (wait == waits_.end() || at->inbox.hasNews()) return false;
        at = wait->reader;
        if (at == &from) return true;
    }
    return false;
}

void RoomGate::open() {
    std::lock_guard lock(mutex_);
    opened_.notify_all();
}

}  // namespace Kavelin::Core
