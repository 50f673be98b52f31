#include "Topology.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/LayoutManager.h>
#include <Kavelin/Core/Source.h>

#include <algorithm>

#include "Layout.h"

namespace Kavelin::Core {

namespace {

std::mutex& topologyMutex() {
    static std::mutex mutex;
    return mutex;
}

/// Whether `test` holds for the layout that feeds one of the connected input pins; null for a filter in none.
/// @return whether it did.
template <class Test>
bool anyFeeder(const Layout& layout, const Test& test) {
    for (const Filter* filter : layout.filters) {
        for (const AbstractInputPin* pin : filter->getInputPins()) {
            const AbstractOutputPin* output = pin->getConnectedOutput();
            if (output != nullptr && test(layoutOf(*output))) return true;
        }
    }
    return false;
}

bool isOneOf(std::span<Layout* const> layouts, const Layout* layout) {
    return std::find(layouts.begin(), layouts.end(), layout) != layouts.end();
}

/// Calls `visit` for each step from a running layout to one whose end it waits for, beginning with these layouts: with that one,
/// whether it is one of these, and whether one of these waits for it.
template <class Visit>
void upstreamOf(std::span<Layout* const> layouts, const TopologyLock& lock, const Visit& visit) {
    const std::vector<Layout*>& running = runningLayouts(lock);
    std::vector<const Layout*> reached(layouts.begin(), layouts.end());
    for (std::size_t i = 0; i < reached.size(); ++i) {
        const Layout* const to = reached[i];
        for (const LayoutNeighbours::Feeder& feeder : to->neighbours.getFeeders()) {
            const Layout* const from = feeder.layout;
            if (from == to || feeder.ended->load() || !isOneOf(running, from)) continue;
            visit(*from, isOneOf(layouts, from), isOneOf(layouts, to));
            if (std::find(reached.begin(), reached.end(), from) == reached.end()) reached.push_back(from);
        }
    }
}

}  // namespace

TopologyLock::TopologyLock() : lock_(topologyMutex()) {}

std::vector<Layout*>& runningLayouts(const TopologyLock&) {
    static std::vector<Layout*> layouts;
    return layouts;
}

Layout* layoutOf(const Pin& pin) {
    const PinManager* filter = pin.getManager();
    return filter == nullptr || filter->getManager() == nullptr ? nullptr : &filter->getManager()->inside();
}

bool canStillBeFed(const Layout& layout, const TopologyLock&) {
    return anyFeeder(layout, [&](const Layout* from) {
        return from == nullptr || (from != &layout && !from->state.hasEnded());
    });
}

bool feedsItself(std::span<Layout* const> layouts) {
    const TopologyLock lock;
    bool isBack = false;
    upstreamOf(layouts, lock,
               [&isBack](const Layout&, bool isOwn, bool byOwn) { isBack |= isOwn && !byOwn; });
    return isBack;
}

bool areFedBySources(std::span<Layout* const> layouts) {
    const TopologyLock lock;
    bool areFed = false;
    upstreamOf(layouts, lock, [&areFed](const Layout& from, bool isOwn, bool) {
        areFed |= !isOwn && std::any_of(from.filters.begin(), from.filters.end(), [](const Filter* filter) {
            return dynamic_cast<const Source*>(filter) != nullptr;
        });
    });
    return areFed;
}

}  // namespace Kavelin::Core
