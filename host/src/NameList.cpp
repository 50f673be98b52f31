#include "NameList.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace Kavelin::Core {

namespace {

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

// Levenshtein distance, one row at a time.
std::size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t substituted = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, substituted});
        }
    }
    return row[b.size()];
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
