#include "io/formats/MessageReader.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

constexpr double kTopMicroseconds = 1e6;  // of the first messages, by which the kinds are found
constexpr std::size_t kMostTopLines = 5000;
constexpr int kMostRestarts = 10;      // then it is no restart: perhaps two units send
constexpr double kLeastRestart = 1.0;  // s, by which a unit's time goes back when it starts again

struct Kind {
    char letter;
    std::size_t cells;   // after the time stamp; 0: text, or not always as many
    const char* header;  // of the table that its messages make; null: passed over
};
constexpr Kind kKinds[] = {
    {'I', 6,
     "Timestamp (us),Gyroscope X (deg/s),Gyroscope Y (deg/s),Gyroscope Z (deg/s),Accelerometer X "
     "(g),Accelerometer Y (g),Accelerometer Z (g)"},
    {'M', 3, "Timestamp (us),Magnetometer X (a.u.),Magnetometer Y (a.u.),Magnetometer Z (a.u.)"},
    {'Q', 4, "Timestamp (us),qw,qx,qy,qz"},
    {'R', 9, nullptr},   // rotation matrix
    {'A', 3, nullptr},   // Euler angles
    {'L', 7, nullptr},   // quaternion and linear acceleration
    {'E', 7, nullptr},   // quaternion and acceleration relative to the earth
    {'H', 3, nullptr},   // accelerometer of a large range
    {'T', 1, nullptr},   // temperature
    {'B', 0, nullptr},   // battery
    {'W', 0, nullptr},   // strength of the radio signal
    {'S', 0, nullptr},   // what a device on the serial port says
    {'N', 0, nullptr},   // notification
    {'F', 0, nullptr}};  // error

const Kind* kindOf(char letter) {
    const auto* const kind = std::ranges::find(kKinds, letter, &Kind::letter);
    return kind == std::end(kKinds) ? nullptr : kind;
}

/// The kind of a message and what stands behind its letter: "1000000,0.1,...".
struct Message {
    const Kind* kind = nullptr;  // null: it is none
    std::string_view cells = {};
    double time = 0.0;  // us
};

Message messageIn(std::string_view line) {
    if (line.size() < 4 || line[1] != ',') return {};
    Message message{.kind = kindOf(line[0]), .cells = line.substr(2)};
    const char* const end = line.data() + line.size();
    const auto [stop, error] = std::from_chars(message.cells.data(), end, message.time);
    if (error != std::errc() || stop == end || *stop != ',' || !std::isfinite(message.time))
        message.kind = nullptr;
    if (message.kind && message.kind->cells > 0 &&
        static_cast<std::size_t>(std::count(stop, end, ',')) != message.kind->cells)
        message.kind = nullptr;
    return message;
}

std::string shown(std::string_view line) {
    return printable(line.substr(0, 60)) + (line.size() > 60 ? "..." : "");
}

}  // namespace

bool MessageReader::isMessage(std::string_view line) { return messageIn(line).kind != nullptr; }

bool MessageReader::isBetweenMessages(std::string_view line) {
    const std::string_view text = trimmed(line);
    return text.empty() || text.front() == '{';
}

MessageReader::MessageReader(std::unique_ptr<ByteSource> source, std::string name,
                             const ReaderOptions& options, std::size_t blockSize)
    : name_(std::move(name)), lines_(std::move(source), blockSize) {
    if (!options.mapping.empty() || options.isByArrival || !options.dialect.isEmpty())
        throw Poco::DataFormatException(name_ +
                                        ": the messages of an x-IMU3 say what they hold and when they were "
                                        "measured: no mapping, no dialect "
                                        "and no time of arrival goes with them");
    schema_.isTimeUnitDeclared = true;
    schema_.decisions.emplace_back("ximu3_ascii");
    schema_.columnCount = 0;
    readTop(options);
}

/// Finds the kinds that there are, and gives the lines back.
void MessageReader::readTop(const ReaderOptions& options) {
    std::vector<std::string> top;
    std::string found;
    std::optional<double> first;
    const auto isThere = [&found](char letter) { return found.find(letter) != std::string::npos; };
    for (std::string_view line; top.size() < kMostTopLines && lines_.next(line);) {
        top.emplace_back(line);
        const Message message = messageIn(line);
        if (!message.kind) continue;
        if (!first) first = message.time;
        if (message.kind->header && !isThere(message.kind->letter)) found += message.kind->letter;
        if (found.size() == 3 || message.time - *first > kTopMicroseconds) break;
    }
    lines_.giveBack(std::move(top), nullptr);
    for (const Kind& kind : kKinds)
        if (kind.header && isThere(kind.letter)) addTable(kind.letter, options);
    if (isThere('I') || isThere('M') || isThere('Q')) return;
    throw Poco::DataFormatException(name_ +
                                    ": no message with measurements came (I, M or Q): are they switched on "
                                    "in the unit's settings, and are "
                                    "its messages text (ASCII), not binary?");
}

void MessageReader::addTable(char letter, const ReaderOptions& options) {
    TableForm form = formOfHeader(kindOf(letter)->header);
    form.earth = TableForm::Earth::kNorthWestUp;
    Table& table = tables_.emplace_back();
    table.letter = letter;
    table.schema = understandTable(form, options);
    table.rows = RowBuilder(table.schema, options);
    table.firstChannel = schema_.channels.size();
    for (const Channel& channel : table.schema.channels) {
        row_.slots_.push_back({.offset = row_.elements_.size()});
        row_.elements_.resize(row_.elements_.size() + channel.size());
        schema_.channels.push_back(channel);
        schema_.channels.back().clock = tables_.size() - 1;
    }
    for (const std::string& note : table.schema.notes) schema_.notes.push_back(note);
    schema_.timeColumn = table.schema.timeColumn;
    schema_.timeUnit = table.schema.timeUnit;
    schema_.understood += (schema_.understood.empty() ? "" : ", ") + table.schema.understood;
}

MessageReader::Next MessageReader::next() {
    while (!ended_) {
        std::string_view line;
        try {
            if (!lines_.next(line)) break;
        } catch (const Poco::Exception& failure) {
            // A line that is too long is passed over; anything else is the end.
            ended_ = dynamic_cast<const Poco::DataFormatException*>(&failure) == nullptr;
            refuse(Fault::kUnreadable, failure.message());
            return Next::kFault;
        }
        if (const std::optional<Next> met = take(line)) return *met;
    }
    ended_ = true;
    return Next::kEnd;
}

/// @return empty for a line that is passed over.
std::optional<MessageReader::Next> MessageReader::take(std::string_view line) {
    const LiveStream* const live = lines_.source().live();
    const bool isRestOfLine = std::exchange(isFirstLine_, false) && live && live->beginsMidLine();
    const Message message = messageIn(line);
    if (!message.kind) {
        if (isBetweenMessages(line) || isRestOfLine) return std::nullopt;
        const bool isCut = !lines_.wasTerminated();
        refuse(isCut ? Fault::kCutOff : Fault::kNotANumber,
               isCut
                   ? "the file ends in the middle of this message"
                   : "'" + shown(line) + "' is no message: a letter, a time stamp and numbers are expected");
        return Next::kFault;
    }
    tellText(line);
    const auto table = std::ranges::find(tables_, message.kind->letter, &Table::letter);
    if (table == tables_.end()) return std::nullopt;
    return parse(message.cells, *table) && takeRow(*table) ? Next::kRow : Next::kFault;
}

bool MessageReader::parse(std::string_view cells, Table& table) {
    const char* at = cells.data();
    const char* const end = at + cells.size();
    for (std::size_t column = 0; column < table.rows.columns(); ++column) {
        const auto [stop, error] = std::from_chars(at, end, table.rows.cell(column));
        const bool isWhole = stop == end || *stop == ',';
        if (error != std::errc() || !isWhole || std::isinf(table.rows.cell(column))) {
            const char* const cut = std::find(at, end, ',');
            return refuse(Fault::kNotANumber,
                          fmt::format("value {} of the message {} is '{}', which is no number", column + 1,
                                      table.letter, shown({at, static_cast<std::size_t>(cut - at)})));
        }
        at = stop == end ? end : stop + 1;
    }
    return true;
}

bool MessageReader::takeRow(Table& table) {
    table.rows.follow(latest_);
    RowBuilder::Taken taken = table.rows.take(table.schema);
    if (taken == RowBuilder::Taken::kBackwards && startAgain(table)) taken = table.rows.take(table.schema);
    if (taken == RowBuilder::Taken::kNoTime) return refuse(Fault::kNoTime, "the message has no time stamp");
    if (taken == RowBuilder::Taken::kBackwards)
        return refuse(Fault::kTimeBackwards, table.rows.refusal(taken).what);
    fillRow(table);
    latest_ = row_.time_;
    arrival_ = lines_.source().arrival();
    return true;
}

/// When a unit starts again, so does its time: it goes on where it was, later by what passed here meanwhile.
bool MessageReader::startAgain(const Table& table) {
    LiveStream* const live = lines_.source().live();
    const double back = latest_ - table.rows.refusedTime();
    if (!live || back < kLeastRestart || restarts_++ >= kMostRestarts) return false;
    const double delay = table.rows.delay() + back + (lines_.source().arrival() - arrival_);
    live->tell(fmt::format("the unit's time began again; the rows go on at {:g} s",
                           table.rows.refusedTime() - table.rows.delay() + delay));
    for (Table& each : tables_) each.rows.setDelay(delay);
    return true;
}

void MessageReader::fillRow(const Table& table) {
    const Row& own = table.rows.row();
    row_.time_ = own.time_;
    row_.together_ = tables_.size() == 1 ? own.together_ : Row::Share::kNone;
    for (Row::Slot& slot : row_.slots_) slot = {.offset = slot.offset, .isOfRow = false};
    for (std::size_t i = 0; i < table.schema.channels.size(); ++i) {
        Row::Slot& slot = row_.slots_[table.firstChannel + i];
        const std::size_t offset = slot.offset;
        slot = own.slots_[i];
        slot.offset = offset;
        std::copy_n(own.values(i), table.schema.channels[i].size(), row_.elements_.data() + offset);
    }
}

/// What the unit says in words.
void MessageReader::tellText(std::string_view line) {
    LiveStream* const live = lines_.source().live();
    if (!live || (line[0] != 'N' && line[0] != 'F')) return;
    live->tell("the unit says: " + shown(line.substr(line.find(',', 2) + 1)));
}

bool MessageReader::refuse(Fault fault, const std::string& what) {
    fault_ = fault;
    message_ = fmt::format("{}:{}: {}", name_, lines_.number(), what);
    return false;
}

}  // namespace Kavelin::RecordingIO
