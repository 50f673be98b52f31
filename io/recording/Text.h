#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Kavelin::RecordingIO {

/// `text` without blanks and tabs at both ends.  A view into `text`.
std::string_view trimmed(std::string_view text);

/// Lower-case copy; only the letters A to Z change, so the result does not depend on the locale.
std::string lowered(std::string_view text);

bool equalsIgnoringCase(std::string_view a, std::string_view b);

/// Splits one line of a table at `separator`. Blanks around a cell and a pair of double quotes around it are
/// taken off; a separator between quotes belongs to its cell, two quotes within quotes stand for one.
std::vector<std::string> splitCells(std::string_view line, char separator);

/// The names in a list "a, b, c" (see splitCells), without empty ones.
std::vector<std::string> namesIn(std::string_view list);

/// Whether a cell says that there is no value: "NA", "null", "#N/A", "-" and the like, besides "nan" and an empty one.
bool isMissing(std::string_view cell);

/// "a, b and 3 more": at most `shown` of the items, for messages.
std::string listed(const std::vector<std::string>& items, std::size_t shown = 12);

/// `text`, from a file, made safe for a terminal: control characters and bytes that are not UTF-8 as \xNN.
std::string printable(std::string_view text);

/// The same of several lines, which stay apart.
std::string printableLines(std::string_view text);

/// A cell, from a file, for a message: made safe, and shortened.
std::string shownCell(std::string_view cell);

/// The shortest text that reads back as the same number; "nan", "inf", "-inf" for the others.
std::string exactText(double number);

/// "1 row", "2 rows".
std::string counted(std::uint64_t count, const std::string& noun);

}  // namespace Kavelin::RecordingIO
