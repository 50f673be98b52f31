#include "io/recording/ColumnMeaning.h"

#include <algorithm>
#include <array>
#include <span>

#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

struct Word {
    std::string_view text;  ///< as written
    std::string lower;
};

bool isSeparator(char c) { return std::string_view(" \t_-./:[]()").find(c) != std::string_view::npos; }
bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool isLower(char c) { return c >= 'a' && c <= 'z'; }

/// Whether the letters from `begin` on are a unit with a capital behind its prefix, and nothing more: "uT", "mG".
bool isPrefixedUnit(std::string_view name, std::size_t begin) {
    const std::string_view rest = name.substr(begin);
    return rest.size() >= 2 && (rest.size() == 2 || isSeparator(rest[2])) &&
           std::string_view("unm").find(rest[0]) != std::string_view::npos &&
           (rest[1] == 'T' || rest[1] == 'G');
}

/// "LeftFoot_gyrX" in words: Left, Foot, gyr, X.
std::vector<Word> wordsOf(std::string_view name) {
    std::vector<Word> words;
    std::size_t begin = 0;
    for (std::size_t i = 0; i <= name.size(); ++i) {
        const bool isEnd = i == name.size() || isSeparator(name[i]);
        const bool isHump =
            !isEnd && i > begin && isUpper(name[i]) && isLower(name[i - 1]) && !isPrefixedUnit(name, begin);
        if (!isEnd && !isHump) continue;
        if (i > begin)
            words.push_back({name.substr(begin, i - begin), lowered(name.substr(begin, i - begin))});
        begin = isEnd ? i + 1 : i;
    }
    return words;
}

struct Quantity {
    std::string_view pin;
    std::vector<std::string_view> words;  ///< one after the other
};

const std::vector<Quantity>& quantities() {
    static const std::vector<Quantity> all = {
        {"3g", {"angular", "rate"}},
        {"3g", {"angular", "velocity"}},
        {"3g", {"rotation", "rate"}},
        {"3m", {"magnetic", "field"}},
        {"3a", {"acc"}},
        {"3a", {"accel"}},
        {"3a", {"acceleration"}},
        {"3a", {"accelero"}},
        {"3a", {"accelerometer"}},
        {"3g", {"gyr"}},
        {"3g", {"gyro"}},
        {"3g", {"gyroscope"}},
        {"3g", {"omega"}},
        {"3m", {"mag"}},
        {"3m", {"magn"}},
        {"3m", {"magnet"}},
        {"3m", {"magnetometer"}},
        {"3m", {"magneto"}},
        {"3m", {"compass"}},
        {"quat", {"quat"}},
        {"quat", {"quaternion"}},
        {"quat", {"orientation"}},
    };
    return all;
}

// Words of a name that change nothing.
const std::string_view kFillers[] = {"raw",  "cal",   "calibrated", "calib", "axis",
                                     "data", "value", "sensor",     "field", "component"};
// Words of a name that no filter takes.
const std::string_view kForeign[] = {"linear", "lin",   "free", "user",         "gravity",   "earth",
                                     "global", "world", "bias", "offset",       "temp",      "temperature",
                                     "std",    "var",   "norm", "uncalibrated", "covariance"};

// Units as they are written where brackets cannot be.
struct SuffixUnit {
    std::string_view written;  ///< lower case, without separators
    std::string_view unit;
};
constexpr SuffixUnit kSuffixUnits[] = {
    {"ms2", "m/s^2"},  {"mps2", "m/s^2"}, {"mss", "m/s^2"},   {"mpss", "m/s^2"},  {"g", "g"},
    {"mg", "mg"},      {"dps", "deg/s"},  {"degs", "deg/s"},  {"degps", "deg/s"}, {"mdps", "mdps"},
    {"rads", "rad/s"}, {"rps", "rad/s"},  {"radps", "rad/s"}, {"rad", "rad/s"},   {"deg", "deg/s"},
    {"ut", "uT"},      {"nt", "nT"},      {"mt", "mT"},       {"gauss", "G"},     {"ga", "G"},
    {"mgauss", "mG"},  {"ms", "ms"},      {"us", "us"},       {"ns", "ns"},       {"s", "s"},
    {"sec", "s"},      {"secs", "s"},     {"seconds", "s"}};

bool isOneOf(std::span<const std::string_view> words, std::string_view word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

std::string_view suffixUnit(std::string_view written) {
    const auto found = std::ranges::find(kSuffixUnits, written, &SuffixUnit::written);
    return found == std::end(kSuffixUnits) ? std::string_view() : found->unit;
}

/// The index of an axis; 4 where the word is none.
std::size_t axisOf(std::string_view pin, std::string_view word) {
    const std::string_view letters = pin == "quat" ? "wxyz" : "xyz";
    const std::string_view digits = pin == "quat" ? "0123" : "012";
    if (word.size() == 2 && word[0] == 'q' && pin == "quat") word.remove_prefix(1);
    if (pin == "quat" && (word == "s" || word == "scalar")) return 0;
    if (word.size() != 1) return 4;
    const std::size_t letter = letters.find(word[0]);
    return letter != std::string_view::npos ? letter : std::min<std::size_t>(digits.find(word[0]), 4);
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isQuantity(std::string_view word) {
    return std::ranges::any_of(quantities(), [&](const Quantity& quantity) {
        return quantity.words.size() == 1 && quantity.words[0] == word;
    });
}

/// "accx", "xacc" in two: many write the axis without a separator.
void splitAxes(std::vector<Word>& words) {
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string_view lower = words[i].lower;
        if (lower.size() < 3) continue;
        const std::string_view stem = lower.substr(0, lower.size() - 1);
        const std::string_view text = words[i].text;
        if (axisOf("3a", lower.substr(0, 1)) < 3 && !isDigit(lower[0]) && isQuantity(lower.substr(1))) {
            words[i] = {text.substr(0, 1), lowered(text.substr(0, 1))};
            words.insert(words.begin() + static_cast<std::ptrdiff_t>(++i),
                         {text.substr(1), lowered(text.substr(1))});
            continue;
        }
        if (!isQuantity(stem) || axisOf("quat", lower.substr(lower.size() - 1)) == 4) continue;
        words[i] = {text.substr(0, text.size() - 1), std::string(stem)};
        const std::string_view axis = text.substr(text.size() - 1);
        words.insert(words.begin() + static_cast<std::ptrdiff_t>(++i), {axis, lowered(axis)});
    }
}

/// "accelerometer", "gyro": a second word for the same.
bool isOfPin(const std::string& pin, std::string_view word) {
    if (pin == "3g" && word == "rotation") return true;
    return std::ranges::any_of(quantities(), [&](const Quantity& quantity) {
        return quantity.pin == pin && quantity.words.size() == 1 && quantity.words[0] == word;
    });
}

/// Takes the words of a quantity out.  @return its pin; empty where there is none
std::string takeQuantity(std::vector<Word>& words, std::size_t& place) {
    for (const Quantity& quantity : quantities()) {
        const auto found =
            std::search(words.begin(), words.end(), quantity.words.begin(), quantity.words.end(),
                        [](const Word& word, std::string_view text) { return word.lower == text; });
        if (found == words.end()) continue;
        place = static_cast<std::size_t>(found - words.begin());
        words.erase(found, found + static_cast<std::ptrdiff_t>(quantity.words.size()));
        return std::string(quantity.pin);
    }
    return {};
}

/// Takes the last words out where they are a unit: "ms2", "m/s2".
std::string takeUnit(std::vector<Word>& words) {
    for (std::size_t count = std::min<std::size_t>(words.size(), 2); count > 0; --count) {
        std::string written;
        for (std::size_t i = words.size() - count; i < words.size(); ++i) written += words[i].lower;
        const std::string_view unit = suffixUnit(written);
        if (unit.empty() || written.size() < count + 1) continue;
        words.resize(words.size() - count);
        return std::string(unit);
    }
    if (!words.empty() && words.back().lower == "g") {
        words.pop_back();
        return "g";
    }
    return {};
}

/// Whether the words are a unit, and nothing else.
bool isUnit(std::vector<Word> words) { return !takeUnit(words).empty() && words.empty(); }

}  // namespace

std::optional<ColumnMeaning> meaningOf(std::string_view name) {
    std::vector<Word> words = wordsOf(name);
    splitAxes(words);
    const bool isForeign =
        std::ranges::any_of(words, [](const Word& word) { return isOneOf(kForeign, word.lower); });
    std::size_t place = 0;
    ColumnMeaning meaning;
    meaning.pin = isForeign ? std::string() : takeQuantity(words, place);
    if (meaning.pin.empty()) return std::nullopt;
    // The axis comes behind the quantity, perhaps with a unit before it or behind it, or right before it.
    std::vector<Word> behind(words.begin() + static_cast<std::ptrdiff_t>(place), words.end());
    words.resize(place);
    for (std::vector<Word>* part : {&words, &behind}) {
        std::erase_if(*part, [&](const Word& word) {
            return isOneOf(kFillers, word.lower) || isOfPin(meaning.pin, word.lower);
        });
    }
    const bool isAxisBefore = !words.empty() && words.back().lower.find_first_of("xyz") == 0 &&
                              words.back().lower.size() == 1 && meaning.pin != "quat";
    if (isAxisBefore && (behind.empty() || isUnit(behind))) {
        behind.push_back(words.back());
        words.pop_back();
    }
    if (behind.empty()) return std::nullopt;
    if (meaning.axis = axisOf(meaning.pin, behind.back().lower); meaning.axis < 4) {
        behind.pop_back();
        meaning.unit = takeUnit(behind);
    } else {
        meaning.unit = takeUnit(behind);
        if (behind.empty()) return std::nullopt;
        meaning.axis = axisOf(meaning.pin, behind.back().lower);
        if (meaning.axis == 4) return std::nullopt;
        behind.pop_back();
    }
    words.insert(words.end(), behind.begin(), behind.end());
    const char* end = nullptr;  // of the word before; a capital begins a word, but does not separate it
    for (const Word& word : words) {
        const bool isApart = end != nullptr && word.text.data() != end;
        meaning.sensor += (isApart ? "_" : "") + std::string(word.text);
        end = word.text.data() + word.text.size();
    }
    return meaning;
}

std::size_t unitSuffix(std::string_view name, std::string& unit) {
    std::vector<Word> words = wordsOf(name);
    const std::size_t before = words.size();
    unit = takeUnit(words);
    if (unit.empty() || words.empty() || words.size() == before) return 0;
    const char* const stop = words.back().text.data() + words.back().text.size();
    return static_cast<std::size_t>(name.data() + name.size() - stop);
}

}  // namespace Kavelin::RecordingIO
