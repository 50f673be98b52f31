#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kavelin::RecordingIO {

// What a single line of a table's text is, whatever stands around it. None of these throws.

inline constexpr char kBlank = ' ';

struct NamedSeparator {
    char separator;
    std::string_view name;
};
inline constexpr NamedSeparator kSeparators[] = {
    {'\t', "tab"}, {';', "semicolon"}, {',', "comma"}, {kBlank, "blank"}};

std::string_view separatorName(char separator);

/// @param mergesSeparators several in a row are one, as blanks that align columns are
std::vector<std::string> cellsOf(std::string_view line, char separator, bool mergesSeparators);

/// "1.5", "1,5", "nan", "-1e3".
bool isNumber(std::string_view text);

/// A line cut at a separator, and what its cells are.
struct Split {
    char separator = ',';
    bool merges = false;
    std::size_t cells = 0;
    std::size_t filled = 0;
    std::size_t numbers = 0;
    bool beginsWithWord = false;

    bool isMostlyNumbers() const { return numbers > 0 && 2 * numbers >= filled; }
    /// "Sampling rate,100" and "Version 1.2" say something about the table: a row has a time and axes.
    bool isRow() const { return isMostlyNumbers() && (!beginsWithWord || numbers > 2); }
};

Split splitAt(std::string_view line, char separator, bool merges);
/// The separator that makes most numbers of a line.
Split numbersIn(std::string_view line);

/// Whether a line is one of numbers: half of its cells at least, with the separator that gives most of them.
bool isRowOfNumbers(std::string_view line);
/// Begins with "#", "%" or "//".
bool isComment(std::string_view line);
/// "Key:,value", "sep=;", "Format=7": says something about the table.
bool isMetadata(std::string_view line);
/// The rate that a line such as "// Update Rate: 100.0Hz" or "OutputRate:,60Hz" tells, in Hz; 0 for any other.
double rateIn(std::string_view line);

/// The last line but comments before the rows may be a comment that holds the names.
std::string_view withoutCommentMark(std::string_view line);
/// "TimeUS,GyroX" of a comment such as `Data format: "%int(TimeUS),%float(GyroX)"`; empty for any other line.
std::string namesInFormat(std::string_view line);

}  // namespace Kavelin::RecordingIO
