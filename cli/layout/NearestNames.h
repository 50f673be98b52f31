#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Kavelin::Cli {

/// The candidate that `name` was most likely meant to be: at most a third of its characters away.
/// @return empty when none is that near.
std::string nearestName(std::string_view name, const std::vector<std::string>& candidates);

/// @return `; did you mean "x"?` with the nearest candidate, or an empty text.
std::string didYouMean(std::string_view name, const std::vector<std::string>& candidates);

/// @return "a, b, c", the first 40 and how many more there are, or "none".
std::string listed(const std::vector<std::string>& names);

/// @return what follows a name that does not exist: `; did you mean "y"? Filters: a, b, c` for the heading
/// "filters", or `; filters: a, b, c` where none is near.
std::string suggestion(std::string_view name, const std::string& heading,
                       const std::vector<std::string>& existing);

/// @return `no filter is named "x"; did you mean "y"? Filters: a, b, c` for the kind "filter".
std::string noSuch(const std::string& kind, std::string_view name, const std::vector<std::string>& existing);

}  // namespace Kavelin::Cli
