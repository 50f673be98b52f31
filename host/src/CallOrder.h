#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace Kavelin::Core {

/// Order in which to call `count` filters so that each comes after those that feed it. Filters that feed each
/// other in a circle keep the order of the list, and so do those that have nothing to do with each other.
/// @param edges (from, to) as positions in the list.
std::vector<std::size_t> callOrder(std::size_t count,
                                   const std::vector<std::pair<std::size_t, std::size_t>>& edges);

}  // namespace Kavelin::Core
