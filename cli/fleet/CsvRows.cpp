#include "cli/fleet/CsvRows.h"

#include <Poco/Exception.h>

#include <algorithm>

#include "io/recording/NumberText.h"
#include "io/recording/TableForm.h"
#include "io/recording/TableLine.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

/// The next line of a text without its end, and the text behind it.  @return false at the end
bool takeLine(std::string_view& text, std::string_view& line) {
    if (text.empty()) return false;
    const std::size_t feed = std::min(text.find('\n'), text.size());
    line = text.substr(0, feed);
    text.remove_prefix(std::min(feed + 1, text.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    return true;
}

bool isPassedOver(std::string_view line) {
    // Nearly all lines begin with a digit, and need no further look.
    if (!line.empty() && ((line[0] >= '0' && line[0] <= '9') || line[0] == '-')) return false;
    return RecordingIO::trimmed(line).empty() || RecordingIO::isComment(line);
}

/// What nearly all rows do, and names hardly ever.
bool beginsWithNumber(std::string_view line) {
    double number = 0.0;
    const char* const end = RecordingIO::readDecimal(line.data(), line.data() + line.size(), number);
    return end != nullptr && end != line.data() + line.size() && (*end == ',' || *end == ';' || *end == '\t');
}

bool namesTime(std::string_view line) {
    return std::ranges::any_of(RecordingIO::formOfHeader(line).columns, &RecordingIO::ColumnName::isTime);
}

}  // namespace

CsvRows::CsvRows(std::string_view payload, const std::string& columns) : rest_(payload) {
    if (rest_.starts_with("\xEF\xBB\xBF")) rest_.remove_prefix(3);
    takeHeader(columns);
}

/// A first line that names columns must name those that are known; one that does not is a row.
void CsvRows::takeHeader(const std::string& known) {
    columns_ = known;
    std::string_view rest = rest_;
    std::string_view line;
    do {
        if (takeLine(rest, line)) continue;
        throw Poco::DataFormatException("the batch holds no row");
    } while (isPassedOver(line));
    if (!known.empty() && beginsWithNumber(line)) return;
    if (RecordingIO::isRowOfNumbers(line)) {
        if (!known.empty()) return;
        throw Poco::DataFormatException(
            "the batch does not name its columns: its first line is a row, and no header says them");
    }
    if (known.empty()) {
        columns_ = plainColumns(line);
    } else if (plainColumns(line) != known) {
        if (!namesTime(line)) return;
        throw Poco::DataFormatException("the batch begins with the columns '" +
                                        RecordingIO::printable(line.substr(0, 400)) +
                                        "', and the unit has '" + RecordingIO::printable(known) + "'");
    }
    rest_ = rest;
    requireNoUnits(line);
}

/// A table of a file may have its units in the line below the names.
void CsvRows::requireNoUnits(std::string_view names) const {
    std::string_view rest = rest_;
    std::string_view line;
    if (!takeLine(rest, line) || RecordingIO::isRowOfNumbers(line)) return;
    const RecordingIO::TableForm form = RecordingIO::formOfHeader(names);
    std::string row = "0";
    for (std::size_t i = 1; i < form.columns.size(); ++i) row.append(1, form.separator).append("0");
    const auto decisions = RecordingIO::findForm({std::string(names), std::string(line), row}, {}).decisions;
    if (std::ranges::any_of(decisions, [](const std::string& one) { return one.starts_with("units in"); }))
        throw Poco::DataFormatException(
            "the line below the names of the columns holds units: write them behind the names, such as ax "
            "[g]");
}

std::vector<std::string> CsvRows::firstLines(char) const {
    std::vector<std::string> lines;
    std::string_view rest = rest_;
    std::string_view line;
    while (lines.size() < kFirstLines && takeLine(rest, line))
        if (!isPassedOver(line)) lines.emplace_back(line);
    return lines;
}

BatchRows::Next CsvRows::next(const RecordingIO::Schema& schema, RecordingIO::RowBuilder& cells) {
    std::string_view line;
    do {
        if (!takeLine(rest_, line)) return Next::kEnd;
    } while (isPassedOver(line));
    if (reader_.read(line, true, schema, cells)) return Next::kRow;
    refusal_ = reader_.refusal();
    return Next::kRefused;
}

}  // namespace Kavelin::Cli
