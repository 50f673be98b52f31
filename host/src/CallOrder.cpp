#include "CallOrder.h"

#include <algorithm>

namespace Kavelin::Core {

// Layouts are small; Warshall's closure is the plainest way.
std::vector<std::vector<bool>> reachability(std::size_t count, const Edges& edges) {
    std::vector<std::vector<bool>> reach(count, std::vector<bool>(count, false));
    for (const auto& [from, to] : edges) reach[from][to] = true;
    for (std::size_t via = 0; via < count; ++via) {
        for (std::size_t from = 0; from < count; ++from) {
            if (!reach[from][via]) continue;
            for (std::size_t to = 0; to < count; ++to) {
                if (reach[via][to]) reach[from][to] = true;
            }
        }
    }
    return reach;
}

std::vector<std::size_t> callOrder(std::size_t count, const Edges& edges) {
    const auto reach = reachability(count, edges);
    std::vector<std::size_t> order;
    std::vector<bool> placed(count, false);
    // Inside a cycle the order of the list decides.
    const auto mustPrecede = [&](std::size_t a, std::size_t b) {
        return reach[a][b] && (!reach[b][a] || a < b);
    };
    while (order.size() < count) {
        for (std::size_t next = 0; next < count; ++next) {
            if (placed[next]) continue;
            bool free = true;
            for (std::size_t other = 0; other < count && free; ++other) {
                free = placed[other] || other == next || !mustPrecede(other, next);
            }
            if (!free) continue;
            placed[next] = true;
            order.push_back(next);
            break;
        }
    }
    return order;
}

}  // namespace Kavelin::Core
