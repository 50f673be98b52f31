#include "cli/layout/Mistake.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "io/recording/Text.h"

namespace Kavelin::Cli {

std::string toText(const Mistake& mistake, const std::string& fileName) {
    const Place& place = mistake.place;
    if (!place.option.empty()) return place.option + ": " + mistake.text;
    if (place.line == 0) return fileName + ": " + mistake.text;
    return fmt::format("{}:{}:{}: {}", fileName, place.line, place.column, mistake.text);
}

std::string countText(const Mistakes& mistakes) { return RecordingIO::counted(mistakes.size(), "mistake"); }

void sortByPlace(Mistakes& mistakes) {
    const auto key = [](const Mistake& m) {
        const int last = std::numeric_limits<int>::max();
        return std::pair(m.place.option.empty() ? m.place.line : last, m.place.column);
    };
    std::stable_sort(mistakes.begin(), mistakes.end(),
                     [&](const Mistake& a, const Mistake& b) { return key(a) < key(b); });
}

}  // namespace Kavelin::Cli
