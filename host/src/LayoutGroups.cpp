#include "LayoutGroups.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>

#include <algorithm>

#include "CallOrder.h"
#include "Layout.h"
#include "Topology.h"

namespace Kavelin::Core {

std::vector<LayoutConnection> connectionsBetween(const std::vector<Layout*>& layouts) {
    const TopologyLock lock;
    std::vector<LayoutConnection> connections;
    for (std::size_t to = 0; to < layouts.size(); ++to) {
        for (const Filter* filter : layouts[to]->filters) {
            for (AbstractInputPin* input : filter->getInputPins()) {
                AbstractOutputPin* const output = input->getConnectedOutput();
                if (output == nullptr) continue;
                const auto from = std::find(layouts.begin(), layouts.end(), layoutOf(*output));
                const auto position = static_cast<std::size_t>(from - layouts.begin());
                if (from != layouts.end() && position != to)
                    connections.push_back({position, to, output, input});
            }
        }
    }
    return connections;
}

std::vector<LayoutGroup> groupLayouts(const std::vector<Layout*>& layouts,
                                      const std::vector<LayoutConnection>& connections) {
    Edges edges;
    for (const LayoutConnection& connection : connections) edges.emplace_back(connection.from, connection.to);
    const std::vector<std::size_t> cycle = cycleNumbers(layouts.size(), edges);
    std::vector<LayoutGroup> groups;
    std::vector<bool> placed(layouts.size(), false);
    for (const std::size_t first : callOrder(layouts.size(), edges)) {
        if (placed[first]) continue;
        LayoutGroup& group = groups.emplace_back();
        for (std::size_t other = 0; other < layouts.size(); ++other) {
            if (cycle[other] != cycle[first]) continue;
            placed[other] = true;
            group.push_back(layouts[other]);
        }
    }
    return groups;
}

std::vector<bool> reachedBySources(const std::vector<Layout*>& layouts,
                                   const std::vector<LayoutConnection>& connections) {
    std::vector<bool> reached;
    for (Layout* layout : layouts) {
        layout->refreshPlan();
        reached.push_back(layout->hasSources());
    }
    for (std::size_t pass = 0; pass < layouts.size(); ++pass) {
        for (const LayoutConnection& connection : connections) {
            if (reached[connection.from]) reached[connection.to] = true;
        }
    }
    return reached;
}

bool settle(const LayoutGroup& group) {
    bool tookAny = false;
    for (bool took = true; took; tookAny |= took) {
        took = false;
        for (Layout* layout : group) took |= !layout->inbox.isStopRequested() && layout->rounds.runPending();
    }
    return tookAny;
}

bool nothingCanCome(std::span<Layout* const> group, bool staysOpen) {
    bool hasSources = false, wasFed = false, fedFromOutside = false;
    for (const Layout* layout : group) {
        hasSources |= layout->hasSources();
        fedFromOutside |= layout->neighbours.isFedFromOutside();
        for (const LayoutNeighbours::Feeder& feeder : layout->neighbours.getFeeders()) {
            if (std::find(group.begin(), group.end(), feeder.layout) != group.end()) continue;
            if (!feeder.ended->load()) return false;
            wasFed = true;
        }
    }
    return !staysOpen || hasSources || (wasFed && !fedFromOutside);
}

}  // namespace Kavelin::Core
