#include "io/recording/RecordingReader.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "io/recording/SensorColumn.h"
#include "io/recording/TableLine.h"
#include "io/recording/Text.h"
#include "io/recording/TimeChoice.h"

namespace Kavelin::RecordingIO {

namespace {

const std::size_t kMostTopLines = 1000;  // above the first row
const std::size_t kTopRows = 64;         // to decide by
const std::size_t kMostSensors = 64;
const std::size_t kMostRubbish = 20;  // lines, before a stream is given up
const double kLeastRestart = 1.0;     // s, by which a device's time goes back when it starts again
const int kMostRestarts = 10;         // then it is no restart: perhaps two devices send

bool contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string cellAt(std::string_view line, char separator, std::size_t column) {
    const std::vector<std::string> cells = splitCells(line, separator);
    return column < cells.size() ? cells[column] : std::string();
}

/// Control characters, or mostly bytes that are no ASCII: a wrong baud rate, a binary message.
bool isRubbish(std::string_view line) {
    const auto controls = std::ranges::count_if(
        line, [](char c) { return static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\r'; });
    const auto high =
        std::ranges::count_if(line, [](char c) { return static_cast<unsigned char>(c) > 0x7e; });
    return controls > 0 || 4 * high > static_cast<std::ptrdiff_t>(line.size());
}

}  // namespace

FormHints hintsOf(const ReaderOptions& options, bool isWhole) {
    return {.dialect = options.dialect,
            .mapping = options.mapping,
            .rate = options.rate,
            .hasTimeUnit = options.units.contains("t"),
            .isWhole = isWhole};
}

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
    : name_(std::move(name)), lines_(std::move(source), blockSize) {
    live_.stream = lines_.source().live();
    std::uint64_t at = 0;
    try {
        Top top = readTop();
        const TableForm form = formOf(top, options);
        at = form.headerLine;
        begin(std::move(top), form, options);
    } catch (const Poco::DataFormatException& refusal) {
        // The code of a refusal is its line, where it has one.
        if (refusal.code() > 0) at = static_cast<std::uint64_t>(refusal.code());
        throw Poco::DataFormatException(place(at > 0 ? at : lines_.number()) +
                                        printableLines(refusal.message() + liveHint(refusal.message())));
    }
}

RecordingReader::RecordingReader(std::unique_ptr<ByteSource> source, std::string name, const TableForm& form,
                                 const ReaderOptions& options)
    : name_(std::move(name)), lines_(std::move(source)) {
    try {
        begin(readTop(), form, options);
    } catch (const Poco::DataFormatException& refusal) {
        throw Poco::DataFormatException(place(form.headerLine) + printableLines(refusal.message()));
    }
}

/// Reads up to the first row of numbers, and whatever rows have been read with it.
RecordingReader::Top RecordingReader::readTop() {
    Top top;
    while (top.lines.size() < kMostTopLines && readTopLine(top)) {
        if (live_.stream && isOfNoUse(top)) {
            top.lines.pop_back();
            continue;
        }
        const std::string& line = top.lines.back();
        if (line.find('\0') != std::string::npos) {
            throw Poco::DataFormatException(
                "the file holds bytes that no text has: export it as CSV, in UTF-8",
                static_cast<int>(top.lines.size()));
        }
        if (line.find('\r') != std::string::npos && top.lines.size() == 1) {
            throw Poco::DataFormatException(
                "its lines end in carriage returns alone: save it with line feeds", 1);
        }
        const std::string_view text = trimmed(line);
        if (!text.empty() && !isComment(text) && isRowOfNumbers(text)) break;
        top.firstRow = top.lines.size();
        // The rows of a live recording may be long in coming.
        if (mayWait() && !lines_.hasLine() && isWholeHeader(text)) break;
    }
    for (std::size_t rows = 1; rows < kTopRows && !top.failure && lines_.hasLine(); ++rows) readTopLine(top);
    return top;
}

/// The rest of a line that was being sent when the stream was opened, or bytes that are no text.
bool RecordingReader::isOfNoUse(const Top& top) {
    const bool isFirst = std::exchange(live_.isFirstLine, false);
    const std::string& line = top.lines.back();
    if (isRubbish(line)) {
        if (++live_.rubbish > kMostRubbish) refuseRubbish();
        return true;
    }
    return isFirst && live_.stream->beginsMidLine() && isRowOfNumbers(trimmed(line));
}

void RecordingReader::refuseRubbish() const {
    throw Poco::DataFormatException(
        "what comes is no text: does the device send binary messages? Lines of text are read, such as "
        "t,ax,ay,az,gx,gy,gz" +
        live_.stream->hintAboutRubbish());
}

/// What more there is to say of a refusal where it is a stream's.
std::string RecordingReader::liveHint(const std::string& refusal) const {
    if (!live_.stream) return {};
    if (refusal.starts_with("a line is longer"))
        return ": are there no line feeds, or is it no text" + live_.stream->hintAboutRubbish() + "?";
    if (refusal.starts_with("no header"))
        return ". A stream that is joined in its middle has sent its header before: say the columns so; "
               "without a "
               "time among them add --time arrival, or --rate HZ";
    if (refusal.starts_with("no time column")) return ", or take the time of arrival with --time arrival";
    return {};
}

/// @return false at the end, and where reading fails after something that may be a header.
bool RecordingReader::readTopLine(Top& top) {
    std::string_view line;
    try {
        if (!lines_.next(line)) return false;
    } catch (const Poco::Exception& failure) {
        if (top.lines.empty()) throw;
        top.failure.reset(failure.clone());
        return false;
    }
    if (top.lines.empty() && line.starts_with("\xEF\xBB\xBF")) line.remove_prefix(3);
    top.lines.emplace_back(line);
    return true;
}

TableForm RecordingReader::formOf(const Top& top, const ReaderOptions& options) const {
    const FormHints hints = hintsOf(options, !lines_.source().mayWait());
    TableForm form = findForm(top.lines, hints);
    const std::size_t first = std::min(std::max(form.firstRow - 1, top.firstRow), top.lines.size());
    const std::vector<std::string> rows(top.lines.begin() + static_cast<std::ptrdiff_t>(first),
                                        top.lines.end());
    findSensorColumn(form, rows);
    if (!options.isByArrival) chooseTime(form, rows, hints);
    return form;
}

void RecordingReader::begin(Top top, const TableForm& form, const ReaderOptions& options) {
    schema_ = understandTable(form, options);
    makePrintable();
    rows_ = RowBuilder(schema_, options);
    chooseRows(top, options);
    const std::size_t above = std::min(form.firstRow - 1, top.lines.size());
    if (live_.stream) {
        live_.above.assign(top.lines.begin(), top.lines.begin() + static_cast<std::ptrdiff_t>(above));
        live_.arrival = lines_.source().arrival();
    }
    if (schema_.isByArrival) {
        arrivals_ = Arrivals{.reads = lines_.reads()};
        if (const std::size_t rows = top.lines.size() - above; rows > 0)
            arrivals_->clock.beginRead(lines_.source().arrival(), rows + lines_.feedsAhead());
    }
    top.lines.erase(top.lines.begin(), top.lines.begin() + static_cast<std::ptrdiff_t>(above));
    lines_.giveBack(std::move(top.lines), std::move(top.failure));
}

/// Refuses a table whose rows are of several sensors before any row is used, unless one of them is chosen.
void RecordingReader::chooseRows(const Top& top, const ReaderOptions& options) {
    if (!schema_.sensorColumn) {
        if (options.sensor.empty() || !schema_.sensors.empty()) return;
        const auto own = std::ranges::find(schema_.decisions, "sensor " + options.sensor);
        if (own != schema_.decisions.end()) return;
        throw Poco::DataFormatException("no sensor '" + options.sensor +
                                        "': the table does not tell sensors apart");
    }
    const SensorCount sensors = sensorsIn(top);
    if (sensors.names.size() > 1 && sensors.isOfSensors()) schema_.sensors = sensors.names;
    if (options.sensor.empty()) {
        if (schema_.sensors.size() > 1 && !options.listsSensors)
            throw Poco::DataFormatException(severalSensors(sensors.names));
        return;
    }
    // The rows of a sensor may begin behind those at hand.
    const bool isWhole = lines_.source().consumed() == lines_.source().total();
    if (isWhole && !contains(sensors.names, options.sensor))
        throw Poco::DataFormatException(noSensor(options.sensor, sensors.names, "holds"));
    others_ = sensors.names;
    chosen_ = options.sensor;
    schema_.decisions.push_back("sensor " + shownCell(chosen_));
}

/// What messages quote of a header.
void RecordingReader::makePrintable() {
    schema_.understood = printable(schema_.understood);
    for (auto* texts : {&schema_.notes, &schema_.unknownColumns, &schema_.columnNames, &schema_.decisions}) {
        for (std::string& text : *texts) text = printable(text);
    }
}

/// The sensors in the rows at hand.
RecordingReader::SensorCount RecordingReader::sensorsIn(const Top& top) const {
    SensorCount sensors;
    for (std::size_t i = top.firstRow; i < top.lines.size(); ++i) countSensor(top.lines[i], sensors);
    std::string_view rows = lines_.ahead();
    for (std::size_t end = rows.find('\n'); end != std::string_view::npos; end = rows.find('\n')) {
        countSensor(rows.substr(0, end), sensors);
        rows.remove_prefix(end + 1);
    }
    return sensors;
}

void RecordingReader::countSensor(std::string_view line, SensorCount& sensors) const {
    std::string cell = cellAt(line, schema_.separator, *schema_.sensorColumn);
    if (cell.empty() || sensors.names.size() > kMostSensors) return;
    ++sensors.rows;
    if (!contains(sensors.names, cell)) sensors.names.push_back(std::move(cell));
}

/// A number that differs in each row is a counter, not a sensor.
bool RecordingReader::SensorCount::isOfSensors() const {
    return names.size() <= kMostSensors && rows >= 2 * names.size();
}

std::vector<std::string> RecordingReader::readSensors() {
    if (!schema_.sensorColumn) return schema_.sensors;
    SensorCount sensors;
    std::string_view line;
    while (lines_.next(line)) {
        if (!line.empty() && !isComment(line)) countSensor(line, sensors);
    }
    return sensors.isOfSensors() ? sensors.names : std::vector<std::string>();
}

std::string RecordingReader::noSensor(const std::string& name, const std::vector<std::string>& sensors,
                                      const char* holds) const {
    return fmt::format("no sensor '{}'; column '{}' {}: {}", shownCell(name),
                       schema_.columnNames[*schema_.sensorColumn], holds,
                       shownCell(listed(sensors, sensors.size())));
}

std::string RecordingReader::severalSensors(const std::vector<std::string>& sensors) const {
    std::vector<std::string> names;
    for (const std::string& sensor : sensors) names.push_back("'" + shownCell(sensor) + "'");
    const std::string last = names.back();
    names.pop_back();
    return "the table holds several sensors: column '" + schema_.columnNames[*schema_.sensorColumn] +
           "' has " + listed(names) + " and " + last +
           "; split the file by this column, one file a sensor, or choose one with --sensor NAME (fuse) or "
           "the property "
           "Sensor";
}

/// Whether a row is not of the sensor that was chosen.
bool RecordingReader::isOfOtherSensor(std::string_view line) {
    return cellAt(line, schema_.separator, *schema_.sensorColumn) != chosen_;
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
    refuse({Fault::kOtherSensor, severalSensors({sensor_, cell})});
    return true;
}

RecordingReader::Next RecordingReader::next() {
    while (!ended_) {
        std::string_view line;
        try {
            if (!lines_.next(line)) break;
        } catch (const Poco::DataFormatException& tooLong) {
            refuse({Fault::kUnreadable, tooLong.message()});
            return Next::kFault;
        } catch (const Poco::Exception& failure) {
            ended_ = true;
            refuse({Fault::kUnreadable, failure.message()});
            return Next::kFault;
        }
        // Nearly all lines begin with a digit, and need no further look.
        const bool isRow = !line.empty() && ((line[0] >= '0' && line[0] <= '9') || line[0] == '-');
        const bool hasTime = !arrivals_ || takeArrival();
        if (!isRow && (line.empty() || isComment(line) || trimmed(line).empty() || isAboveRows(line)))
            continue;
        if (!hasTime) continue;
        if (schema_.mergesSeparators) line = trimmed(line);
        if (!chosen_.empty() && isOfOtherSensor(line)) continue;
        if (!cells_.read(line, lines_.wasTerminated(), schema_, rows_)) {
            refuse(cells_.refusal());
            return Next::kFault;
        }
        if (schema_.sensorColumn && chosen_.empty() && isOtherSensor(line)) {
            ended_ = true;
            return Next::kFault;
        }
        return takeRow() ? Next::kRow : Next::kFault;
    }
    const bool endsNow = !std::exchange(ended_, true);
    if (endsNow && !chosen_.empty() && rows() == 0 && !contains(others_, chosen_)) {
        refuse({Fault::kOtherSensor, noSensor(chosen_, others_, "begins with")});
        return Next::kFault;
    }
    return Next::kEnd;
}

/// @return false for a line that came together with the first one that has a time.
bool RecordingReader::takeArrival() {
    if (arrivals_->reads != lines_.reads()) {
        arrivals_->reads = lines_.reads();
        arrivals_->clock.beginRead(lines_.source().arrival(), 1 + lines_.feedsAhead());
    }
    const std::optional<double> time = arrivals_->clock.next();
    if (!time) {
        ++arrivals_->early;
        return false;
    }
    rows_.setArrival(*time, std::exchange(arrivals_->early, 0));
    return true;
}

/// Whether a line is the header that a device sends again when it starts again.
bool RecordingReader::isAboveRows(std::string_view line) {
    const bool isThere = std::ranges::find(live_.above, line) != live_.above.end();
    live_.startsAgain = live_.startsAgain || isThere;
    return isThere;
}

bool RecordingReader::takeRow() {
    if (live_.stream) [[unlikely]] {
        if (!takeLiveRow()) return false;
        live_.startsAgain = false;
        live_.arrival = lines_.source().arrival();
        return true;
    }
    return accept(rows_.take(schema_));
}

/// When a device starts again, so does its time: it goes on where it was, later by what passed here meanwhile.
bool RecordingReader::takeLiveRow() {
    RowBuilder::Taken taken = rows_.take(schema_);
    const double back = rows_.latestTime() - rows_.refusedTime();
    const bool isNumber = schema_.timeColumn && schema_.timeKind != TableForm::Time::Kind::kCounter;
    const bool startsAgain = isNumber && (live_.startsAgain || back > kLeastRestart);
    if (taken == RowBuilder::Taken::kBackwards && startsAgain && live_.restarts++ < kMostRestarts) {
        const double own = rows_.refusedTime() - rows_.delay();
        rows_.setDelay(rows_.delay() + back + (lines_.source().arrival() - live_.arrival));
        live_.stream->tell(fmt::format("the device's time began again, at {:g} s; the rows go on at {:g} s",
                                       own, own + rows_.delay()));
        taken = rows_.take(schema_);
    }
    return accept(taken);
}

bool RecordingReader::accept(RowBuilder::Taken taken) {
    return taken == RowBuilder::Taken::kRow || refuse(rows_.refusal(taken));
}

std::string RecordingReader::place(std::uint64_t line) const {
    return line > 0 ? fmt::format("{}:{}: ", name_, line) : name_ + ": ";
}

bool RecordingReader::refuse(const Refusal& refusal) {
    fault_ = refusal.fault;
    message_ = place(lines_.number()) + refusal.what;
    return false;
}

}  // namespace Kavelin::RecordingIO
