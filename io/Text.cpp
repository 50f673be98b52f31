#include "io/Text.h"

#include <algorithm>

namespace Kavelin::RecordingIO {

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string lowered(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), lower);
    return out;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

std::vector<std::string> splitCells(std::string_view line, char separator) {
    std::vector<std::string> cells;
    std::string cell;
    bool quoted = false;
    bool wasQuoted = false;
    const auto finish = [&] {
        cells.emplace_back(wasQuoted ? std::string_view(cell) : trimmed(cell));
        cell.clear();
        wasQuoted = false;
    };
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '"' && quoted && i + 1 < line.size() && line[i + 1] == '"') {
            cell += line[++i];
        } else if (c == '"' && (quoted || trimmed(cell).empty())) {
            if (!quoted) cell.clear();
            quoted = !quoted;
            wasQuoted = true;
        } else if (c == separator && !quoted) {
            finish();
        } else if (quoted || !wasQuoted || (c != ' ' && c != '\t')) {
            cell += c;
        }
    }
    finish();
    return cells;
}

std::string listed(const std::vector<std::string>& items, std::size_t shown) {
    std::string out;
    const std::size_t count = std::min(items.size(), shown);
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) out += ", ";
        out += items[i];
    }
    if (items.size() > count) out += " and " + std::to_string(items.size() - count) + " more";
    return out;
}

std::string counted(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace Kavelin::RecordingIO
