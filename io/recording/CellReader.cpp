#include "io/recording/CellReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include "io/recording/DateText.h"
#include "io/recording/NumberText.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Reads a whole text as a number; "1,5" too where a comma cannot separate cells, and "+1.5".
bool readNumber(std::string_view text, bool commaIsPoint, double& value) {
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    std::array<char, 64> copy;
    if (commaIsPoint && text.size() <= copy.size() && std::count(text.begin(), text.end(), ',') == 1) {
        std::replace_copy(text.begin(), text.end(), copy.begin(), ',', '.');
        text = {copy.data(), text.size()};
    }
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    // An infinite value is not a measurement, and would turn everything after it into NaN.
    return error == std::errc() && stop == end && !std::isinf(value);
}

bool readCell(std::string_view text, const Schema& schema, std::size_t column, double& value) {
    if (schema.timeKind != TableForm::Time::Kind::kDate || column != schema.timeColumn)
        return readNumber(text, schema.separator != ',' || schema.commaIsPoint, value);
    const std::optional<double> seconds = secondsOfDate(text);
    value = seconds.value_or(kNaN);
    return seconds.has_value();
}

}  // namespace

bool CellReader::read(std::string_view text, bool isTerminated, const Schema& schema, RowBuilder& rows) {
    const char* at = text.data();
    const char* const end = at + text.size();
    const Line line{end, isTerminated, schema, rows};
    const std::size_t count = rows.columns();
    const char separator = schema.separator;
    const char padding = separator == ' ' ? '\0' : ' ';  // may stand before a number
    for (std::size_t column = 0; column < count; ++column) {
        if (rows.isUsed(column)) {
            // A number right up to the separator: what nearly every cell is.
            const char* start = at;
            while (start < end && *start == padding) ++start;
            const char* const stop = readDecimal(start, end, rows.cell(column));
            const bool isWhole = stop != nullptr && (stop == end || *stop == separator);
            at = isWhole ? stop : readUncommonCell(line, at, column);
            if (at == nullptr) return false;
        } else if (at < end && *at == '"') {
            at = readUncommonCell(line, at, column);
        } else {
            const void* found = std::memchr(at, separator, static_cast<std::size_t>(end - at));
            at = found ? static_cast<const char*>(found) : end;
        }
        if (column + 1 == count) break;
        if (at == end) return refuseShortRow(line, column + 1);
        ++at;
        while (schema.mergesSeparators && at < end && *at == ' ') ++at;
    }
    return at == end || refuseExtraCells(line, at);
}

bool CellReader::refuse(Refusal refusal) {
    refusal_ = std::move(refusal);
    return false;
}

bool CellReader::refuseShortRow(const Line& line, std::size_t cells) {
    const std::string there = fmt::format("{} of {} cells", cells, line.rows.columns());
    if (line.isTerminated) return refuse({Fault::kShortRow, "too few cells: the row has " + there});
    return refuse({Fault::kCutOff, "the file ends in the middle of this row, after " + there});
}

/// @return where the cell ends; null after a fault.
const char* CellReader::readUncommonCell(const Line& line, const char* at, std::size_t column) {
    const char* stop = at;
    bool quoted = false;
    for (; stop < line.end && (quoted || *stop != line.schema.separator); ++stop) {
        if (*stop == '"') quoted = !quoted;
    }
    if (!line.rows.isUsed(column)) return stop;
    std::string_view text = trimmed({at, static_cast<std::size_t>(stop - at)});
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
        text = trimmed(text.substr(1, text.size() - 2));
    }
    double value = kNaN;
    const bool cut = stop == line.end && !line.isTerminated;
    const bool isNone = text.empty() || (isMissing(text) && !(cut && text == "-"));
    if (!isNone && !readCell(text, line.schema, column, value)) {
        refuse({cut ? Fault::kCutOff : Fault::kNotANumber,
                fmt::format("column {} holds '{}', which is no number{}", column + 1, shownCell(text),
                            cut ? ": the file ends in the middle of this row" : "")});
        return nullptr;
    }
    line.rows.cell(column) = value;
    return stop;
}

/// Empty cells after the last column (a separator at the end of each row) do no harm; others do.
bool CellReader::refuseExtraCells(const Line& line, const char* at) {
    const char separator = line.schema.separator;
    const bool empty = std::all_of(at, line.end, [=](char c) { return c == separator || c == ' '; });
    if (empty) return true;
    const std::size_t columns = line.rows.columns();
    const auto cells = columns + static_cast<std::size_t>(std::count(at, line.end, separator));
    return refuse(
        {Fault::kLongRow, fmt::format("too many cells: the row has {}, the header {}{}", cells, columns,
                                      separator == ',' ? " (are commas used as decimal points?)" : "")});
}

}  // namespace Kavelin::RecordingIO
