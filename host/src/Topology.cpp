#include "Topology.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/LayoutManager.h>

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

bool feedsItself(const Layout& layout) {
    const TopologyLock lock;
    std::vector<const Layout*> reached{&layout};
    for (std::size_t i = 0; i < reached.size(); ++i) {
        const Layout* const to = reached[i];
        const bool isBack = anyFeeder(*to, [&](const Layout* from) {
            if (from == nullptr || from == to) return false;
            if (std::find(reached.begin(), reached.end(), from) == reached.end()) reached.push_back(from);
            return from == &layout;
        });
        if (isBack) return true;
    }
    return false;
}

}  // namespace Kavelin::Core
