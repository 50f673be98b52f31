#include "io/recording/RecordingReader.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const double kMissing = -9999.0;  // in a whole vector: many loggers write it where they have no value
const std::size_t kMostSensors = 64;
const double kNaN = std::numeric_limits<double>::quiet_NaN();

bool contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// A cell for a message: shortened, and safe for a terminal.
std::string shown(std::string_view cell) {
    const std::string out = printable(cell.substr(0, 40));
    return cell.size() > 40 ? out + "..." : out;
}

bool holdsNumber(std::string_view cell) {
    double value = 0.0;
    return std::from_chars(cell.data(), cell.data() + cell.size(), value).ec == std::errc();
}

std::string printableLines(std::string_view text) {
    std::string out;
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        out += printable(text.substr(0, end)) + '\n';
        text.remove_prefix(end + 1);
    }
    return out + printable(text);
}

std::string cellAt(std::string_view line, char separator, std::size_t column) {
    const std::vector<std::string> cells = splitCells(line, separator);
    return column < cells.size() ? cells[column] : std::string();
}

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

}  // namespace

std::string_view faultName(Fault fault) {
    static constexpr std::array<std::string_view, kFaultCount> kNames = {
        "text in a number", "too few cells",  "too many cells", "no time stamp",
        "time backwards",   "end in mid-row", "unreadable",     "of another sensor"};
    return kNames[static_cast<std::size_t>(fault)];
}

RecordingReader RecordingReader::open(const std::string& path, const ReaderOptions& options) {
    return RecordingReader(openSource(path), nameOf(path), options);
}

std::string RecordingReader::nameOf(const std::string& path) { return path == "-" ? "standard input" : path; }

RecordingReader::RecordingReader(std::unique_ptr<ByteSource> source, std::string name,
                                 const ReaderOptions& options, std::size_t blockSize)
    : name_(std::move(name)), lines_(std::move(source), blockSize), rate_(options.rate) {
    try {
        readHeader(options);
        prepareChannels(options);
    } catch (const Poco::DataFormatException& refusal) {
        throw Poco::DataFormatException(place() + printableLines(refusal.message()));
    }
}

void RecordingReader::readHeader(const ReaderOptions& options) {
    std::string_view line;
    std::string comment;
    bool any = false;
    while (lines_.next(line)) {
        any = true;
        if (lines_.number() == 1 && line.substr(0, 3) == "\xEF\xBB\xBF") line.remove_prefix(3);
        const std::string_view text = trimmed(line);
        if (text.empty() || lowered(text.substr(0, 4)) == "sep=") continue;
        if (isComment(text)) {
            comment = text.substr(std::min(text.find_first_not_of("#%/"), text.size()));
            continue;
        }
        if (text.find('\0') != std::string_view::npos)
            throw Poco::DataFormatException(
                "the file holds bytes that no text has: export it as CSV, in UTF-8");
        if (!takeCommentedHeader(comment, line, options)) schema_ = understandHeader(line, options);
        makePrintable();
        if (schema_.sensorColumn) refuseSeveralSensors(lines_.ahead());
        return;
    }
    throw Poco::DataFormatException(any ? "no header: there are only comments and empty lines"
                                        : "the file is empty: there is no header and no row");
}

/// Some programs write the names of the columns as a comment before the first row.
bool RecordingReader::takeCommentedHeader(const std::string& comment, std::string_view line,
                                          const ReaderOptions& options) {
    if (comment.empty() || !holdsNumber(trimmed(line))) return false;
    try {
        Schema schema = understandHeader(comment, options);
        if (splitCells(line, schema.separator).size() != schema.columnCount) return false;
        schema_ = std::move(schema);
    } catch (const Poco::DataFormatException&) {
        return false;
    }
    lines_.putBack();
    return true;
}

/// What messages quote of a header.
void RecordingReader::makePrintable() {
    schema_.understood = printable(schema_.understood);
    for (auto* texts : {&schema_.notes, &schema_.unknownColumns, &schema_.columnNames}) {
        for (std::string& text : *texts) text = printable(text);
    }
}

/// Looks into the rows at hand, so that a table of several sensors is refused before any row is used. A
/// number that differs in each row is a counter, not a sensor.
void RecordingReader::refuseSeveralSensors(std::string_view rows) const {
    std::vector<std::string> sensors;
    std::size_t count = 0;
    for (std::size_t end = rows.find('\n'); end != std::string_view::npos; end = rows.find('\n')) {
        const std::string cell = cellAt(rows.substr(0, end), schema_.separator, *schema_.sensorColumn);
        rows.remove_prefix(end + 1);
        if (cell.empty()) continue;
        ++count;
        if (!contains(sensors, cell)) sensors.push_back(cell);
        if (sensors.size() > kMostSensors) return;
    }
    if (sensors.size() < 2 || count < 2 * sensors.size()) return;
    throw Poco::DataFormatException(severalSensors(sensors[0], sensors[1]));
}

std::string RecordingReader::severalSensors(const std::string& first, const std::string& other) const {
    return "the table holds several sensors: column '" + schema_.columnNames[*schema_.sensorColumn] +
           "' has '" + shown(first) + "' and '" + shown(other) +
           "'; split the file by this column, one file a sensor";
}

/// Whether a later row is of another sensor than all before it.
bool RecordingReader::isOtherSensor(std::string_view line) {
    std::string cell = cellAt(line, schema_.separator, *schema_.sensorColumn);
    if (cell == sensor_ || cell.empty()) {
        ++sensorRows_;
        return false;
    }
    if (sensorRows_ < 2) {  // perhaps a counter
        sensor_ = std::move(cell);
        sensorRows_ = 1;
        return false;
    }
    refuse(Fault::kOtherSensor, severalSensors(sensor_, cell));
    return true;
}

void RecordingReader::prepareChannels(const ReaderOptions& options) {
    isUsed_.assign(schema_.columnCount, false);
    cells_.assign(schema_.columnCount, kNaN);
    if (schema_.timeColumn) isUsed_[*schema_.timeColumn] = true;
    std::size_t offset = 0;
    for (const Channel& channel : schema_.channels) {
        for (const std::size_t column : channel.columns) isUsed_[column] = true;
        states_.push_back({.repeats = contains(options.repeat, channel.pin),
                           .together = contains(options.together, channel.pin)});
        row_.slots_.push_back({.offset = offset});
        offset += channel.size();
    }
    row_.elements_.assign(offset, kNaN);
}

RecordingReader::Next RecordingReader::next() {
    while (!ended_) {
        std::string_view line;
        try {
            if (!lines_.next(line)) break;
        } catch (const Poco::DataFormatException& tooLong) {
            refuse(Fault::kUnreadable, tooLong.message());
            return Next::kFault;
        } catch (const Poco::Exception& failure) {
            ended_ = true;
            refuse(Fault::kUnreadable, failure.message());
            return Next::kFault;
        }
        if (line.empty() || isComment(line) || trimmed(line).empty()) continue;
        if (!parseCells(line)) return Next::kFault;
        if (schema_.sensorColumn && isOtherSensor(line)) {
            ended_ = true;
            return Next::kFault;
        }
        if (!takeTime()) return Next::kFault;
        takeChannels();
        ++rows_;
        return Next::kRow;
    }
    ended_ = true;
    return Next::kEnd;
}

bool RecordingReader::parseCells(std::string_view line) {
    const char* at = line.data();
    const char* const end = at + line.size();
    const std::size_t count = cells_.size();
    for (std::size_t column = 0; column < count; ++column) {
        if (isUsed_[column]) {
            at = parseCell(at, end, column);
            if (!at) return false;
        } else if (at < end && *at == '"') {
            at = parseUncommonCell(at, end, column);
        } else {
            const void* found = std::memchr(at, schema_.separator, static_cast<std::size_t>(end - at));
            at = found ? static_cast<const char*>(found) : end;
        }
        if (column + 1 == count) break;
        if (at == end) {
            const std::string cells = fmt::format("{} of {} cells", column + 1, count);
            if (lines_.wasTerminated())
                return refuse(Fault::kShortRow, "too few cells: the row has " + cells);
            return refuse(Fault::kCutOff, "the file ends in the middle of this row, after " + cells);
        }
        ++at;
    }
    return at == end || refuseExtraCells(at, end);
}

/// A number right up to the separator: what nearly every cell is. @return where the cell ends;
/// null after a fault.
inline const char* RecordingReader::parseCell(const char* at, const char* end, std::size_t column) {
    const char* start = at;
    while (start < end && *start == ' ') ++start;
    const auto [stop, error] = std::from_chars(start, end, cells_[column]);
    const bool isWhole = stop == end || *stop == schema_.separator;
    if (error == std::errc() && isWhole && std::isfinite(cells_[column])) return stop;
    return parseUncommonCell(at, end, column);
}

const char* RecordingReader::parseUncommonCell(const char* at, const char* end, std::size_t column) {
    const char* stop = at;
    bool quoted = false;
    for (; stop < end && (quoted || *stop != schema_.separator); ++stop) {
        if (*stop == '"') quoted = !quoted;
    }
    if (!isUsed_[column]) return stop;
    std::string_view text = trimmed({at, static_cast<std::size_t>(stop - at)});
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
        text = trimmed(text.substr(1, text.size() - 2));
    }
    double value = kNaN;
    if (!text.empty() && !readNumber(text, schema_.separator != ',', value)) {
        const bool cut = stop == end && !lines_.wasTerminated();
        refuse(cut ? Fault::kCutOff : Fault::kNotANumber,
               fmt::format("column {} holds '{}', which is no number{}", column + 1, shown(text),
                           cut ? ": the file ends in the middle of this row" : ""));
        return nullptr;
    }
    cells_[column] = value;
    return stop;
}

/// Empty cells after the last column (a separator at the end of each row) do no harm; others do.
bool RecordingReader::refuseExtraCells(const char* at, const char* end) {
    const bool empty = std::all_of(at, end, [this](char c) { return c == schema_.separator || c == ' '; });
    if (empty) return true;
    const auto cells = cells_.size() + static_cast<std::size_t>(std::count(at, end, schema_.separator));
    return refuse(Fault::kLongRow,
                  fmt::format("too many cells: the row has {}, the header {}{}", cells, cells_.size(),
                              schema_.separator == ',' ? " (are commas used as decimal points?)" : ""));
}

bool RecordingReader::takeTime() {
    if (!schema_.timeColumn) {
        row_.time_ = static_cast<double>(rows_) / rate_;
        return true;
    }
    const double time = schema_.timeUnit.apply(cells_[*schema_.timeColumn]);
    if (!std::isfinite(time)) return refuse(Fault::kNoTime, "the row has no time stamp");
    if (rows_ > 0 && time < latest_) {
        return refuse(Fault::kTimeBackwards, fmt::format("time runs backwards: {} s after {} s",
                                                         exactText(time), exactText(latest_)));
    }
    row_.time_ = latest_ = time;
    return true;
}

void RecordingReader::takeChannels() {
    bool all = true;
    bool some = false;
    for (std::size_t i = 0; i < states_.size(); ++i) {
        takeChannel(schema_.channels[i], states_[i], row_.slots_[i]);
        if (!states_[i].together) continue;
        all &= row_.has(i);
        some |= row_.isMeasured(i);
    }
    row_.together_ = !some ? Row::Share::kNone : all ? Row::Share::kAll : Row::Share::kSome;
    if (all) return;
    for (std::size_t i = 0; i < states_.size(); ++i) {
        if (states_[i].together) row_.slots_[i].sent = false;
    }
}

void RecordingReader::takeChannel(const Channel& channel, ChannelState& state, Row::Slot& slot) {
    slot.measured = std::none_of(channel.columns.begin(), channel.columns.end(),
                                 [this](std::size_t column) { return std::isnan(cells_[column]); });
    slot.marked = cells_[channel.columns.front()] == kMissing && channel.size() > 2 &&
                  std::all_of(channel.columns.begin(), channel.columns.end(),
                              [this](std::size_t column) { return cells_[column] == kMissing; });
    slot.measured = slot.measured && !slot.marked;
    slot.repeated = !slot.measured && state.repeats && state.seen;
    slot.sent = slot.measured || slot.repeated;
    if (!slot.measured) return;
    state.seen = true;
    double* value = row_.elements_.data() + slot.offset;
    if (channel.unit.isIdentity()) {
        for (const std::size_t column : channel.columns) *value++ = cells_[column];
    } else {
        for (const std::size_t column : channel.columns) *value++ = channel.unit.apply(cells_[column]);
    }
}

bool RecordingReader::isComment(std::string_view line) const {
    return line.front() == '#' || line.front() == '%' || line.substr(0, 2) == "//";
}

std::string RecordingReader::place() const {
    return lines_.number() > 0 ? fmt::format("{}:{}: ", name_, lines_.number()) : name_ + ": ";
}

bool RecordingReader::refuse(Fault fault, const std::string& what) {
    fault_ = fault;
    message_ = place() + what;
    return false;
}

}  // namespace Kavelin::RecordingIO
