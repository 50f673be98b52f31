#include "cli/layout/NearestNames.h"

#include <algorithm>
#include <numeric>

#include "cli/layout/Mistake.h"

namespace Kavelin::Cli {

namespace {

constexpr std::size_t kLongestCompared = 100;  // the table grows with the square; no real name is this long
constexpr std::size_t kMostListed = 40;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

}  // namespace

std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> beforeLast(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        beforeLast.swap(last);
        last.swap(row);
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const char x = lower(a[i - 1]), y = lower(b[j - 1]);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (x == y ? 0u : 1u)});
            if (i > 1 && j > 1 && x == lower(b[j - 2]) && lower(a[i - 2]) == y)
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
    }
    return row[b.size()];
}

std::string nearestName(std::string_view name, const std::vector<std::string>& candidates) {
    if (name.size() > kLongestCompared) return {};
    std::size_t best = std::max<std::size_t>(1, (name.size() + 1) / 3) + 1;
    std::string nearest;
    for (const std::string& candidate : candidates) {
        if (candidate.size() > kLongestCompared) continue;
        const std::size_t distance = editDistance(name, candidate);
        if (distance < best && distance < candidate.size()) {
            best = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

std::string didYouMean(std::string_view name, const std::vector<std::string>& candidates) {
    const std::string nearest = nearestName(name, candidates);
    return nearest.empty() ? std::string() : "; did you mean " + inQuotes(nearest) + "?";
}

std::string listed(const std::vector<std::string>& names) {
    if (names.empty()) return "none";
    std::string text = names.front();
    const std::size_t shown = std::min(names.size(), kMostListed);
    for (std::size_t i = 1; i < shown; ++i) text += ", " + names[i];
    if (shown < names.size()) text += " and " + std::to_string(names.size() - shown) + " more";
    return text;
}

std::string suggestion(std::string_view name, const std::string& heading,
                       const std::vector<std::string>& existing) {
    const std::string near = didYouMean(name, existing);
    std::string text = (near.empty() ? "; " : near + " ") + heading + ": " + listed(existing);
    if (!near.empty()) text[near.size() + 1] = upper(heading.front());
    return text;
}

std::string noSuch(const std::string& kind, std::string_view name, const std::vector<std::string>& existing) {
    const bool endsInY = kind.back() == 'y';
    const std::string plural = endsInY ? kind.substr(0, kind.size() - 1) + "ies" : kind + "s";
    return "no " + kind + " is named " + inQuotes(name) + suggestion(name, plural, existing);
}

}  // namespace Kavelin::Cli
