#include "cli/layout/NearestNames.h"

#include <Kavelin/Core/Names.h>
#include <fmt/format.h>

#include <algorithm>

#include "cli/layout/Mistake.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

constexpr std::size_t kLongestCompared = 100;  // the table grows with the square; no real name is this long
constexpr std::size_t kMostListed = 40;

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

}  // namespace

std::string nearestName(std::string_view name, const std::vector<std::string>& candidates) {
    if (name.size() > kLongestCompared) return {};
    std::size_t best = std::max<std::size_t>(1, (name.size() + 1) / 3) + 1;
    std::string nearest;
    for (const std::string& candidate : candidates) {
        if (candidate.size() > kLongestCompared) continue;
        const std::size_t distance = Core::editDistance(name, candidate);
        if (distance < best && distance < candidate.size()) {
            best = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

std::string didYouMean(std::string_view name, const std::vector<std::string>& candidates) {
    const std::string nearest = nearestName(name, candidates);
    return nearest.empty() ? "" : fmt::format("; did you mean \"{}\"?", nearest);
}

std::string listed(const std::vector<std::string>& names) {
    return names.empty() ? "none" : RecordingIO::listed(names, kMostListed);
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
