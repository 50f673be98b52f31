#include "cli/fleet/FleetNames.h"

#include <algorithm>
#include <charconv>

namespace Kavelin::Cli {

namespace {

constexpr std::size_t kLongestName = 128;
constexpr unsigned kMostParts = 256;

template <class Number>
bool readWhole(std::string_view text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

std::optional<PartChoice> parsePart(const std::string& text) {
    const std::size_t slash = text.find('/');
    if (slash == std::string::npos) return std::nullopt;
    const std::string_view index = std::string_view(text).substr(0, slash);
    PartChoice part;
    part.isAny = index == "any";
    if (!part.isAny && !readWhole(index, part.index)) return std::nullopt;
    if (!readWhole(std::string_view(text).substr(slash + 1), part.count)) return std::nullopt;
    if (part.count == 0 || part.count > kMostParts || part.index >= part.count) return std::nullopt;
    return part;
}

bool isFleetName(std::string_view text) {
    const auto isAllowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
               c == '_' || c == '=';
    };
    return !text.empty() && text.size() <= kLongestName && std::all_of(text.begin(), text.end(), isAllowed);
}

std::string ResultId::text(const std::string& unit) const {
    return unit + ":" + std::to_string(sequence) + ":" + std::to_string(streamMade);
}

std::optional<ResultId> ResultId::parse(std::string_view text) {
    const std::size_t last = text.rfind(':');
    if (last == std::string_view::npos || last == 0) return std::nullopt;
    const std::size_t first = text.rfind(':', last - 1);
    if (first == std::string_view::npos) return std::nullopt;
    ResultId id;
    if (!readWhole(text.substr(first + 1, last - first - 1), id.sequence)) return std::nullopt;
    if (!readWhole(text.substr(last + 1), id.streamMade)) return std::nullopt;
    return id;
}

}  // namespace Kavelin::Cli
