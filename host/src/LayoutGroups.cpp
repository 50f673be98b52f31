#include "LayoutGroups.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/LayoutManager.h>

#include <algorithm>
#include <mutex>

#include "CallOrder.h"
#include "Topology.h"

namespace Kavelin::Core {

std::vector<LayoutConnection> connectionsBetween(const std::vector<LayoutManager*>& layouts) {
    const std::lock_guard lock(topologyMutex());
    std::vector<LayoutConnection> connections;
    for (std::size_t to = 0; to < layouts.size(); ++to) {
        for (const Filter* filter : layouts[to]->getFilters()) {
            for (AbstractInputPin* input : filter->getInputPins()) {
                AbstractOutputPin* const output = input->getConnectedOutput();
                if (output == nullptr || output->getManager() == nullptr) continue;
                const auto from =
                    std::find(layouts.begin(), layouts.end(), output->getManager()->getManager());
                const auto position = static_cast<std::size_t>(from - layouts.begin());
                if (from != layouts.end() && position != to)
                    connections.push_back({position, to, output, input});
            }
        }
    }
    return connections;
}

std::vector<LayoutGroup> groupLayouts(const std::vector<LayoutManager*>& layouts,
                                      const std::vector<LayoutConnection>& connections) {
    Edges edges;
    for (const LayoutConnection& connection : connections) edges.emplace_back(connection.from, connection.to);
    const auto reach = reachability(layouts.size(), edges);
    std::vector<LayoutGroup> groups;
    std::vector<bool> placed(layouts.size(), false);
    for (const std::size_t first : callOrder(layouts.size(), edges)) {
        if (placed[first]) continue;
        LayoutGroup& group = groups.emplace_back();
        for (std::size_t other = 0; other < layouts.size(); ++other) {
            if (other != first && !(reach[first][other] && reach[other][first])) continue;
            placed[other] = true;
            group.push_back(layouts[other]);
        }
    }
    return groups;
}

std::vector<bool> reachedBySources(const std::vector<LayoutManager*>& layouts,
                                   const std::vector<LayoutConnection>& connections) {
    std::vector<bool> reached;
    for (LayoutManager* layout : layouts) reached.push_back(layout->hasSources());
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
        for (LayoutManager* layout : group) took |= !layout->wasStopped() && layout->runPending();
    }
    return tookAny;
}

}  // namespace Kavelin::Core
