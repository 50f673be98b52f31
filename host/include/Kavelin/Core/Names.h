#pragma once

#include <Kavelin/Core/Export.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

namespace Kavelin::Core {

/// A class's name as its source has it, e.g. "Poco::RangeException".
KAVELIN_API std::string className(const std::type_info& type);

/// Fewest single-character insertions, deletions, replacements and swaps of neighbours that turn `a` into `b`
/// (each character touched once), upper and lower case alike.
KAVELIN_API std::size_t editDistance(std::string_view a, std::string_view b);

/// The names of named things: of a range of pointers to pins, filters, properties, layouts.
template <class Things>
std::vector<std::string> namesOf(const Things& things) {
    std::vector<std::string> names;
    for (const auto& thing : things) names.push_back(thing->getName());
    return names;
}

/// The first of them with that name.  @return null where there is none.
template <class Thing>
Thing* findNamed(const std::vector<Thing*>& things, const std::string& name) {
    for (Thing* thing : things)
        if (thing->getName() == name) return thing;
    return nullptr;
}

}  // namespace Kavelin::Core
