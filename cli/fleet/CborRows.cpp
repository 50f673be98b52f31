#include "cli/fleet/CborRows.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "io/recording/TableWriter.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

using nlohmann::json;

constexpr std::string_view kMark = "\xD9\xD9\xF7";  // "what follows is CBOR"
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr int kMapBegin = 0xA0;
constexpr int kMapEnd = 0xC0;
constexpr int kArrayBegin = 0x80;

/// Takes what the parser meets, value by value; what stands in a wrong place ends it, so nothing nests deeper than rows.
class Taker {
public:
    explicit Taker(CborRows::Content& content) : content_(content) {}

    const std::string& failure() const { return failure_; }

    bool null() { return number(kNaN); }
    bool boolean(bool) { return odd("a truth value"); }
    /// Below zero; the parser wraps what does not fit.
    bool number_integer(json::number_integer_t value) {
        return value < 0 ? number(static_cast<double>(value)) : odd("a number that is too large");
    }
    bool number_unsigned(json::number_unsigned_t value) { return number(static_cast<double>(value)); }
    bool number_float(json::number_float_t value, const json::string_t&) { return number(value); }
    bool string(json::string_t& text) {
        if (place_ != Place::kColumns) return odd("text");
        content_.columns.push_back(std::move(text));
        return true;
    }
    bool binary(json::binary_t&) { return odd("bytes"); }

    bool start_object(std::size_t) {
        if (place_ != Place::kStart) return fail("a map stands where a number is expected");
        place_ = Place::kMap;
        return true;
    }
    bool key(json::string_t& name) {
        const bool isFirst = name == "columns" ? !content_.hasColumns : !content_.hasRows;
        if ((name != "columns" && name != "rows") || !isFirst)
            return fail("the map has a key '" + RecordingIO::shownCell(name) +
                        "'; expected are \"columns\" and \"rows\", once each");
        key_ = name == "columns" ? Place::kColumns : Place::kRows;
        return true;
    }
    bool end_object() {
        place_ = Place::kEnd;
        return true;
    }
    bool start_array(std::size_t) {
        switch (place_) {
            case Place::kStart:
                place_ = above_ = Place::kRows;
                content_.hasRows = true;
                return true;
            case Place::kMap:
                place_ = key_;
                (key_ == Place::kColumns ? content_.hasColumns : content_.hasRows) = true;
                return true;
            case Place::kRows:
                place_ = Place::kRow;
                content_.rows.push_back({content_.cells.size(), content_.cells.size()});
                return true;
            default:
                return fail("an array stands where a number or a name is expected");
        }
    }
    bool end_array() {
        if (place_ == Place::kRow) {
            content_.rows.back().end = content_.cells.size();
            place_ = Place::kRows;
        } else {
            place_ = above_ == Place::kRows ? Place::kEnd : Place::kMap;
        }
        return true;
    }

    bool parse_error(std::size_t position, const std::string&, const json::exception&) {
        return fail(fmt::format("byte {} is not CBOR, or it ends early", position));
    }

private:
    enum class Place { kStart, kMap, kColumns, kRows, kRow, kEnd };

    bool number(double value) {
        if (place_ != Place::kRow) return fail("a number stands where a row is expected");
        content_.cells.push_back(value);
        return true;
    }
    /// A cell that is no number spoils its row; elsewhere, the batch.
    bool odd(const char* what) {
        if (place_ != Place::kRow) return fail(fmt::format("{} stands where a row is expected", what));
        return number(std::numeric_limits<double>::infinity());
    }
    bool fail(std::string why) {
        if (failure_.empty()) failure_ = std::move(why);
        return false;
    }

    CborRows::Content& content_;
    Place place_ = Place::kStart;
    Place key_ = Place::kStart;
    Place above_ = Place::kMap;  // of the array of rows
    std::string failure_;
};

std::string headerOf(const std::vector<std::string>& columns) {
    std::string header;
    for (const std::string& name : columns)
        header += (&name == &columns.front() ? "" : ",") + RecordingIO::headerCell(name);
    return header;
}

}  // namespace

bool CborRows::isCbor(std::string_view payload) {
    if (payload.starts_with(kMark)) return true;
    const int first = payload.empty() ? 0 : static_cast<unsigned char>(payload.front());
    return first >= kArrayBegin && first < kMapEnd;
}

CborRows::CborRows(std::string_view payload, const std::string& columns) {
    if (payload.starts_with(kMark)) payload.remove_prefix(kMark.size());
    Taker taker(content_);
    const bool isWhole = json::sax_parse(payload.begin(), payload.end(), &taker, json::input_format_t::cbor);
    if (!isWhole) throw Poco::DataFormatException("the batch cannot be read as CBOR: " + taker.failure());
    if (!content_.hasRows)
        throw Poco::DataFormatException("the batch holds no \"rows\": an array of rows is expected");
    if (content_.hasColumns) columns_ = plainColumns(headerOf(content_.columns));
    if (columns_.empty()) columns_ = columns;
    if (columns_.empty()) throw Poco::DataFormatException("the batch does not name its columns");
    if (!columns.empty() && columns_ != columns)
        throw Poco::DataFormatException("the batch has the columns '" + RecordingIO::printable(columns_) +
                                        "', and the unit has '" + RecordingIO::printable(columns) + "'");
    if (content_.rows.empty()) throw Poco::DataFormatException("the batch holds no row");
}

std::vector<std::string> CborRows::firstLines(char separator) const {
    std::vector<std::string> lines;
    for (const Content::Row& row : content_.rows) {
        if (lines.size() == kFirstLines) break;
        std::string& line = lines.emplace_back();
        for (std::size_t i = row.begin; i < row.end; ++i) {
            if (i > row.begin) line += separator;
            if (!std::isnan(content_.cells[i])) line += RecordingIO::exactText(content_.cells[i]);
        }
    }
    return lines;
}

BatchRows::Next CborRows::next(const RecordingIO::Schema& schema, RecordingIO::RowBuilder& cells) {
    if (next_ == content_.rows.size()) return Next::kEnd;
    const Content::Row& row = content_.rows[next_++];
    const std::size_t count = row.end - row.begin;
    const std::size_t columns = schema.columnCount;
    if (count != columns) {
        const bool isShort = count < columns;
        refusal_ = {
            isShort ? RecordingIO::Fault::kShortRow : RecordingIO::Fault::kLongRow,
            fmt::format("too {} cells: the row has {} of {}", isShort ? "few" : "many", count, columns)};
        return Next::kRefused;
    }
    const bool hasDates = schema.timeKind == RecordingIO::TableForm::Time::Kind::kDate;
    for (std::size_t i = 0; i < columns; ++i) {
        if (!cells.isUsed(i)) continue;
        const double value = content_.cells[row.begin + i];
        if (std::isinf(value) || (hasDates && i == schema.timeColumn)) {
            refusal_ = {RecordingIO::Fault::kNotANumber,
                        fmt::format("column {} holds {}", i + 1,
                                    hasDates && i == schema.timeColumn
                                        ? "a number, where the unit's rows began with dates"
                                        : "neither a number nor null")};
            return Next::kRefused;
        }
        cells.cell(i) = value;
    }
    return Next::kRow;
}

}  // namespace Kavelin::Cli
