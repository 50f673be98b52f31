#include "io/recording/Text.h"

#include <fmt/format.h>

#include <algorithm>

#include "io/recording/ResultFile.h"

namespace Kavelin::RecordingIO {

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Bytes of the UTF-8 character at the front of `text`; 0 where there is none that can be shown.
std::size_t visibleLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    if (first < 0x80) return first >= 0x20 && first != 0x7f ? 1 : 0;
    const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4 || text.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) return 0;
    }
    return first == 0xc2 && byte(1) < 0xa0 ? 0 : length;  // the second set of control characters
}

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

std::vector<std::string> namesIn(std::string_view list) {
    std::vector<std::string> names = splitCells(list, ',');
    std::erase(names, "");
    return names;
}

bool isMissing(std::string_view cell) {
    static constexpr std::string_view kWords[] = {"NA",   "N/A", "#N/A",    "<NA>",    "null",    "none",
                                                  "NULL", "-",   "missing", "1.#QNAN", "-1.#IND", "1.#IND"};
    return std::ranges::any_of(kWords, [&](std::string_view word) { return equalsIgnoringCase(word, cell); });
}

std::string listed(const std::vector<std::string>& items, std::size_t shown) {
    const std::size_t count = std::min(items.size(), shown);
    const std::string out =
        fmt::format("{}", fmt::join(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(count), ", "));
    return items.size() > count ? fmt::format("{} and {} more", out, items.size() - count) : out;
}

std::string printable(std::string_view text) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    while (!text.empty()) {
        const std::size_t length = visibleLength(text);
        if (length > 0) {
            out += text.substr(0, length);
        } else {
            const auto byte = static_cast<unsigned char>(text[0]);
            out += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return out;
}

std::string printableLines(std::string_view text) {
    std::string out;
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        out += printable(text.substr(0, end)) + '\n';
        text.remove_prefix(end + 1);
    }
    return out + printable(text);
}

std::string shownCell(std::string_view cell) {
    const std::string out = printable(cell.substr(0, 40));
    return cell.size() > 40 ? out + "..." : out;
}

std::string exactText(double number) {
    char text[kLongestNumber];
    return {text, writeNumber(text, number)};
}

std::string counted(std::uint64_t count, const std::string& noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

}  // namespace Kavelin::RecordingIO
