#include "settings/IniFile.h"

#include <Poco/LineEndingConverter.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <limits>
#include <locale>
#include <new>
#include <sstream>
#include <string_view>
#include <utility>

namespace Kavelin::OrientationInternal {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kBlockMark = "**";
constexpr std::string_view kCommentMark = "//";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr long long kMostUnbackedElements = 16'777'216;  // 128 MiB of doubles

std::string trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

std::string_view withoutBlockMark(std::string_view name) {
    return name.starts_with(kBlockMark) ? name.substr(kBlockMark.size()) : name;
}

// A stream over the text that reads numbers the same way whatever the program's locale.
std::istringstream numberStream(const std::string& text) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    return stream;
}

// The whole number that a text begins with: 0 when there is none, the nearest limit when it is out of range.
long long leadingCount(const std::string& text) {
    long long count = 0;
    numberStream(text) >> count;
    return count;
}

// The next `count` lines, each ended by "\n"; fewer where the input ends.
std::string takeLines(std::istream& input, long long count) {
    std::string lines;
    std::string line;
    while (count-- > 0 && std::getline(input, line)) lines.append(line).push_back('\n');
    return lines;
}

// Up to `most` numbers, until the end or the first text that is not a number. Memory grows with the text,
// not with `most`.
std::vector<double> takeNumbers(std::istream& input, long long most) {
    std::vector<double> numbers;
    double number = 0.0;
    while (std::cmp_less(numbers.size(), most) && input >> number) numbers.push_back(number);
    return numbers;
}

}  // namespace

IniFile::IniFile(std::string path, bool /*mode*/) : path_(std::move(path)) {}

bool IniFile::read() {
    std::ifstream file(path_, std::ios::binary);
    // Opening a folder succeeds; only the first read tells.
    file.peek();
    if (!file.is_open() || file.bad()) return false;
    file.clear();
    parse(file);
    return true;
}

void IniFile::parse(std::istream& input) {
    keys_.clear();
    Poco::InputLineEndingConverter unified(input, Poco::LineEnding::NEWLINE_LF);
    std::string line;
    for (bool first = true; std::getline(unified, line); first = false) {
        if (first && line.starts_with(kByteOrderMark)) line.erase(0, kByteOrderMark.size());
        parseLine(trimmed(line), unified);
    }
}

void IniFile::parseLine(const std::string& line, std::istream& input) {
    if (line.empty() || line.starts_with(kCommentMark)) return;
    if (line.front() == '[' && line.back() == ']') {
        keys_.push_back({trimmed(std::string_view(line).substr(1, line.size() - 2)), {}, {}, {}});
        return;
    }
    const size_t equals = line.find('=');
    if (equals == std::string::npos) return;
    const std::string name = trimmed(std::string_view(line).substr(0, equals));
    const std::string value = trimmed(std::string_view(line).substr(equals + 1));
    if (name.starts_with(kBlockMark)) {
        add(trimmed(withoutBlockMark(name)), takeLines(input, leadingCount(value)), true);
    } else {
        add(name, value, false);
    }
}

void IniFile::add(const std::string& name, std::string value, bool isBlock) {
    if (keys_.empty()) return;
    keys_.back().valueNames.push_back(name);
    keys_.back().values.push_back(std::move(value));
    keys_.back().isBlock.push_back(isBlock);
}

int IniFile::findKey(const std::string& section) const {
    const auto found = std::find_if(keys_.begin(), keys_.end(),
                                    [&section](const Section& key) { return key.name == section; });
    return found == keys_.end() ? -1 : static_cast<int>(found - keys_.begin());
}

int IniFile::findValue(int section, const std::string& name) const {
    if (section < 0 || std::cmp_greater_equal(section, keys_.size())) return -1;
    const Section& key = keys_[static_cast<size_t>(section)];
    const std::string_view plain = withoutBlockMark(name);
    const bool blocksOnly = plain.size() != name.size();
    for (size_t i = 0; i < key.valueNames.size(); ++i) {
        if (key.valueNames[i] == plain && (key.isBlock[i] || !blocksOnly)) return static_cast<int>(i);
    }
    return -1;
}

std::string IniFile::getValue(const std::string& section, const std::string& name) const {
    const int key = findKey(section);
    if (key < 0) {
        std::cout << "Unable to locate specified key: " << section << std::endl
                  << "(keyfile is " << path_ << " )" << std::endl;
        return {};
    }
    const int value = findValue(key, name);
    if (value < 0) {
        // Deliberate: no blank after "Key:", one before the closing parenthesis;
        // people's scripts match these lines.
        std::cout << "Unable to locate specified value: " << name << std::endl
                  << "(but Key:" << section << " exist.)" << std::endl
                  << "(keyfile is " << path_ << " )" << std::endl;
        return {};
    }
    return keys_[static_cast<size_t>(key)].values[static_cast<size_t>(value)];
}

double IniFile::getDouble(const std::string& section, const std::string& name) const {
    double number = 0.0;
    numberStream(getValue(section, name)) >> number;
    return number;
}

Matrix IniFile::getMatrix(const std::string& section, const std::string& name) const {
    std::istringstream text = numberStream(getValue(section, name));
    long long rows = 0;
    long long cols = 0;
    if (!(text >> rows >> cols) || rows < 0 || cols < 0) return {};
    constexpr long long kLargest = std::numeric_limits<int>::max();
    if (std::max(rows, cols) > kLargest || (cols > 0 && rows > kLargest / cols)) throw std::bad_alloc();
    const std::vector<double> elements = takeNumbers(text, rows * cols);
    if (rows * cols > kMostUnbackedElements && std::cmp_less(elements.size(), rows * cols))
        throw std::bad_alloc();
    Matrix matrix = Matrix::Zero(rows, cols);
    std::copy(elements.begin(), elements.end(), matrix.data());
    return matrix;
}

}  // namespace Kavelin::OrientationInternal
