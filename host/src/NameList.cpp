#include "NameList.h"

#include <Kavelin/Core/Names.h>

#include <algorithm>
#include <cctype>

namespace Kavelin::Core {

namespace {

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

}  // namespace

std::string listNames(const std::vector<std::string>& names) {
    if (names.empty()) return "none";
    std::string list;
    for (const std::string& name : names) list += (list.empty() ? "'" : ", '") + name + "'";
    return list;
}

std::vector<std::string> nearestNames(const std::string& wanted, const std::vector<std::string>& names,
                                      std::size_t most) {
    const std::string key = lower(wanted);
    std::vector<std::pair<std::size_t, std::string>> ranked;
    for (const std::string& name : names) {
        const std::string candidate = lower(name);
        // A name that contains the wanted one is near, whatever its length.
        const bool contains = !key.empty() && candidate.find(key) != std::string::npos;
        ranked.emplace_back(contains ? 0 : editDistance(key, candidate), name);
    }
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> nearest;
    for (std::size_t i = 0; i < std::min(most, ranked.size()); ++i) nearest.push_back(ranked[i].second);
    return nearest;
}

}  // namespace Kavelin::Core
