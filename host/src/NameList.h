#pragma once

#include <string>
#include <vector>

namespace Kavelin::Core {

/// The existing names for a message: "'a', 'b', 'c'", or "none".
std::string listNames(const std::vector<std::string>& names);

/// The names that differ least from `wanted` (case ignored), best first, at most `most` of them.
std::vector<std::string> nearestNames(const std::string& wanted, const std::vector<std::string>& names,
                                      std::size_t most);

}  // namespace Kavelin::Core
