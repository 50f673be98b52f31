#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace Kavelin::Core {

/// (from, to) as positions in a list.
using Edges = std::vector<std::pair<std::size_t, std::size_t>>;

/// Element [a] is the number of the cycle that a is in: those that feed each other, directly or through
/// others, have the same number. One in no cycle has a number of its own. All numbers are below `count`.
std::vector<std::size_t> cycleNumbers(std::size_t count, const Edges& edges);

/// Order in which to call `count` filters so that each comes after those that feed it. Filters that feed each
/// other in a cycle keep the order of the list, and so do unconnected ones.
std::vector<std::size_t> callOrder(std::size_t count, const Edges& edges);

}  // namespace Kavelin::Core
