#include "io/recording/TableLine.h"

#include <algorithm>
#include <charconv>

#include "io/recording/DateText.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

std::string_view separatorName(char separator) {
    return std::ranges::find(kSeparators, separator, &NamedSeparator::separator)->name;
}

std::vector<std::string> cellsOf(std::string_view line, char separator, bool mergesSeparators) {
    std::vector<std::string> cells = splitCells(mergesSeparators ? trimmed(line) : line, separator);
    if (mergesSeparators) std::erase(cells, "");
    return cells;
}

bool isNumber(std::string_view text) {
    std::string point(text);
    if (std::ranges::count(point, ',') == 1) std::ranges::replace(point, ',', '.');
    std::string_view rest = point;
    if (rest.starts_with('+')) rest.remove_prefix(1);
    double value = 0.0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
    return error == std::errc() && end == rest.data() + rest.size();
}

Split splitAt(std::string_view line, char separator, bool merges) {
    Split split{separator, merges};
    for (const std::string& cell : cellsOf(line, separator, merges)) {
        ++split.cells;
        if (cell.empty()) continue;
        ++split.filled;
        const bool isOfRow = isNumber(cell) || isMissing(cell) || secondsOfDate(cell);
        if (isOfRow) ++split.numbers;
        if (split.cells == 1) split.beginsWithWord = !isOfRow;
    }
    return split;
}

Split numbersIn(std::string_view line) {
    Split best;
    for (const NamedSeparator& candidate : kSeparators) {
        const Split split = splitAt(line, candidate.separator, candidate.separator == kBlank);
        const bool isCleaner = split.isMostlyNumbers() && !best.isMostlyNumbers();
        const bool isAsClean = split.isMostlyNumbers() == best.isMostlyNumbers();
        if (isCleaner || (isAsClean && split.numbers > best.numbers)) best = split;
    }
    return best;
}

bool isRowOfNumbers(std::string_view line) { return numbersIn(line).isRow(); }

bool isComment(std::string_view line) {
    return line.starts_with('#') || line.starts_with('%') || line.starts_with("//");
}

bool isMetadata(std::string_view line) {
    const std::string_view text = trimmed(line);
    const std::string first = cellsOf(text, ',', false).front();
    if (lowered(first).starts_with("sep=")) return true;
    const std::size_t mark = first.find_first_of(":=");
    return mark != std::string::npos && mark > 0 && (first[mark] == '=' || mark + 1 == first.size());
}

std::string_view withoutCommentMark(std::string_view line) {
    const std::string_view text = trimmed(line);
    return text.substr(std::min(text.find_first_not_of("#%/ \t"), text.size()));
}

std::string namesInFormat(std::string_view line) {
    std::string names;
    for (std::size_t at = line.find('%'); at != std::string::npos; at = line.find('%', at + 1)) {
        const std::size_t open = line.find('(', at);
        const std::size_t close = line.find(')', at);
        if (open == std::string::npos || close == std::string::npos || close < open) break;
        if (line.substr(at, open - at).find_first_of(" ,") != std::string::npos) continue;
        names += (names.empty() ? "" : ",") + std::string(line.substr(open + 1, close - open - 1));
    }
    return names;
}

double rateIn(std::string_view line) {
    const std::string text = lowered(line);
    std::string_view named = "rate";
    if (text.find(named) == std::string::npos) named = "frequency";
    const std::size_t word = text.find(named);
    if (word == std::string::npos) return 0.0;
    // Not a baud rate, not the rate of a heart, nor any frequency.
    static constexpr std::string_view kOfRows[] = {"",       "sample", "sampling", "update",
                                                   "output", "data",   "frame"};
    const std::size_t before = text.find_last_not_of(" _-", word - 1);
    const std::size_t begin =
        word == 0 || before == std::string::npos ? word : text.find_last_of("#%/;,\" \t_-:", before) + 1;
    const std::string_view kind =
        word == 0 ? std::string_view() : trimmed(std::string_view(text).substr(begin, word - begin));
    if (std::ranges::find(kOfRows, kind.substr(0, kind.find_last_not_of(" _-") + 1)) == std::end(kOfRows))
        return 0.0;
    if (named == "frequency" && kind.empty()) return 0.0;
    const std::size_t mark = text.find_first_of(":=,;\t", word);
    if (mark == std::string::npos) return 0.0;
    std::string between = text.substr(word + named.size(), mark - word - named.size());
    std::erase_if(between,
                  [](char c) { return std::string_view(" ()[]").find(c) != std::string_view::npos; });
    if (between.size() > 4) return 0.0;
    const std::size_t digit = text.find_first_not_of(":=, \t;\"", mark);
    if (digit == std::string::npos) return 0.0;
    double rate = 0.0;
    const auto [end, error] = std::from_chars(text.data() + digit, text.data() + text.size(), rate);
    std::string_view unit(end, static_cast<std::size_t>(text.data() + text.size() - end));
    // "59,94" where semicolons separate.
    if (unit.starts_with(',') && text.find(';') < digit) {
        double weight = 0.1;
        for (unit.remove_prefix(1); !unit.empty() && isDigit(unit[0]); unit.remove_prefix(1), weight *= 0.1)
            rate += weight * (unit[0] - '0');
    }
    unit.remove_prefix(std::min(unit.find_first_not_of(" ,;\t\"[("), unit.size()));
    if (unit.empty() && between.ends_with("hz")) unit = between;
    if (unit.starts_with("khz")) {
        rate *= 1e3;
        unit.remove_prefix(1);
    }
    const bool isRate = error == std::errc() && rate > 0.0 && rate <= 1e6;
    return isRate && (unit.empty() || unit.starts_with("hz") || unit.starts_with(")")) ? rate : 0.0;
}

}  // namespace Kavelin::RecordingIO
