#include "io/recording/Schema.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "io/recording/ChannelMeaning.h"
#include "io/recording/ColumnMeaning.h"
#include "io/recording/ColumnNames.h"
#include "io/recording/MeantColumns.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const std::size_t kMostColumns = 4096;  // a line of any other file would cost quadratic time to compare

bool isNumber(std::string_view text) {
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

/// Gathers the channels of one header, step by step; `build` calls the steps in order.
class Builder {
public:
    Builder(const TableForm& form, const SchemaOptions& options)
        : form_(form), options_(options), columns_(form.columns) {
        schema_.separator = form.separator;
        schema_.mergesSeparators = form.mergesSeparators;
        schema_.commaIsPoint = form.commaIsPoint;
        schema_.rate = options.rate > 0.0 ? options.rate : form.rate;
        schema_.decisions = form.decisions;
        schema_.columnCount = columns_.size();
        if (columns_.size() > kMostColumns) {
            throw Poco::DataFormatException(
                fmt::format("the header has {} columns; at most {} are read", columns_.size(), kMostColumns));
        }
        used_.assign(columns_.size(), false);
        isExplained_.assign(columns_.size(), false);
    }

    Schema build() {
        refuseNumbers();
        refuseTwins();
        chooseSensor();
        takeMapping();
        takeTime();
        takeAttitude();
        takeNamedGroups();
        takeMeantGroups();
        refuseRivals();
        findSensorColumn();
        noteLinearAcceleration();
        noteUnknown();
        describe();
        refuseUseless();
        noteIncomplete();
        judgeOptions();
        return std::move(schema_);
    }

private:
    void refuseNumbers() const {
        const bool names = std::any_of(columns_.begin(), columns_.end(), [](const ColumnName& column) {
            return !column.raw.empty() && !isNumber(column.raw);
        });
        if (names) return;
        throw Poco::DataFormatException(
            "no header: the first line holds numbers, not column names; "
            "a recording begins with a line such as t,ax,ay,az,gx,gy,gz,mx,my,mz");
    }

    void refuseTwins() const {
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            for (std::size_t j = 0; j < i && !columns_[i].raw.empty(); ++j) {
                if (columns_[i].raw != columns_[j].raw || columns_[i].sensor != columns_[j].sensor) continue;
                throw Poco::DataFormatException(fmt::format("two columns, {} and {}, are both named '{}'",
                                                            j + 1, i + 1, columns_[i].raw));
            }
        }
    }

    /// Leaves the columns of the other sensors alone.
    void chooseSensor() {
        std::vector<std::string> sensors = sensorsOf(columns_);
        if (sensors.empty()) {
            nameSensors(columns_);
            sensors = sensorsOf(columns_);
        }
        if (sensors.size() > 1) schema_.sensors = sensors;
        std::string chosen = sensors.size() == 1 ? sensors.front() : "";
        if (!options_.sensor.empty() && !sensors.empty()) {
            const auto found = std::ranges::find_if(sensors, [this](const std::string& name) {
                return equalsIgnoringCase(name, options_.sensor);
            });
            if (found == sensors.end()) {
                throw Poco::DataFormatException("no sensor '" + options_.sensor +
                                                "'; the table holds: " + listed(sensors, sensors.size()));
            }
            chosen = *found;
        }
        if (chosen.empty()) {
            if (sensors.size() > 1 && options_.mapping.empty() && !options_.listsSensors)
                refuseSeveral(sensors);
            return;
        }
        if (sensors.size() > 1) schema_.decisions.push_back("sensor " + chosen);
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            if (columns_[i].sensor.empty() || columns_[i].sensor == chosen) continue;
            used_[i] = true;
        }
    }

    [[noreturn]] static void refuseSeveral(const std::vector<std::string>& sensors) {
        throw Poco::DataFormatException(
            "the table holds several sensors: " + listed(sensors, sensors.size()) +
            "; choose one with --sensor NAME (fuse), or take each with --all-sensors");
    }

    void takeMapping() {
        for (const MappingEntry& entry : parseMapping(options_.mapping)) {
            std::vector<std::size_t> found;
            std::string unit = entry.unit;
            for (std::size_t i = 0; i < entry.columns.size(); ++i) {
                found.push_back(columnCalled(entry, i, unit));
            }
            if (entry.pin == "t") {
                if (options_.isByArrival)
                    throw Poco::DataFormatException(
                        "the mapping names a column for the time, and the time of arrival is asked for: "
                        "which of "
                        "the two?");
                takeTimeColumn(found.front(), unit);
                continue;
            }
            addChannel(entry.pin, entry.rows, entry.cols, found, unit);
            mapped_.push_back(entry.pin);
        }
    }

    /// The column meant by element i of an entry. "A (g)" as the last one may be a column of that name or the
    /// column A and the unit g; what the header holds decides.
    std::size_t columnCalled(const MappingEntry& entry, std::size_t i, std::string& unit) const {
        const bool isLast = i + 1 == entry.columns.size();
        if (isLast && !entry.unit.empty()) {
            if (const auto whole = lookUp(entry.columns[i] + " (" + entry.unit + ")")) {
                unit.clear();
                return *whole;
            }
        }
        if (const auto column = lookUp(entry.columns[i])) return *column;
        throw Poco::DataFormatException("the mapping of pin '" + entry.pin + "' names a column '" +
                                        entry.columns[i] + "'; the file has " + listed(rawNames()));
    }

    std::optional<std::size_t> lookUp(const std::string& name) const {
        if (name.size() > 1 && name[0] == '#') {
            std::size_t number = 0;
            const auto [end, error] = std::from_chars(name.data() + 1, name.data() + name.size(), number);
            const bool whole = error == std::errc() && end == name.data() + name.size();
            if (whole && number >= 1 && number <= columns_.size()) return number - 1;
        }
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            if (columns_[i].raw == name) return i;
        }
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            if (equalsIgnoringCase(columns_[i].name, name)) return i;
        }
        return std::nullopt;
    }

    void takeTime() {
        if (options_.isByArrival) return takeArrival();
        if (schema_.timeColumn) return;
        if (form_.time) return takeTimeColumn(form_.time->column, form_.time->unit);
        for (std::size_t i = 0; i < columns_.size() && !schema_.timeColumn; ++i) {
            const bool isEmpty = std::ranges::find(form_.emptyTimes, i) != form_.emptyTimes.end();
            if (!used_[i] && !isEmpty && columns_[i].isTime()) takeTimeColumn(i, "");
        }
    }

    void takeArrival() {
        schema_.isByArrival = true;
        schema_.origin = Schema::Origin::kFirstRow;
        schema_.isTimeUnitDeclared = true;
        schema_.decisions.emplace_back("time of arrival");
        for (std::size_t i = 0; i < columns_.size(); ++i)
            if (columns_[i].isTime() || columns_[i].isCounter()) used_[i] = true;
    }

    void takeTimeColumn(std::size_t column, const std::string& unit) {
        used_[column] = true;
        schema_.timeColumn = column;
        const bool isKnown = form_.time && form_.time->column == column;
        if (isKnown) schema_.timeKind = form_.time->kind;
        if (schema_.timeKind == TableForm::Time::Kind::kNumber) {
            schema_.timeUnit = unitOf("t", {column}, unit, schema_.isTimeUnitDeclared);
        } else if (schema_.timeKind == TableForm::Time::Kind::kCounter) {
            schema_.timeUnit = {1.0, form_.time->rate};
            schema_.counterStep = form_.time->step;
            schema_.counterOrigin = form_.time->origin;
            if (!schema_.counterOrigin) schema_.origin = Schema::Origin::kFirstRow;
            // Another column may be called a time, and be empty.
            for (std::size_t i = 0; i < columns_.size(); ++i)
                isExplained_[i] = isExplained_[i] || columns_[i].isTime();
        }
    }

    /// Names that need reading word by word: "gyro_rad[0]", "acc_x_mg", "imu_Accel_X".
    void takeMeantGroups() {
        for (const char* pin : {"3a", "3g", "3m", "quat"}) {
            if (schema_.find(pin)) continue;
            const MeantColumns group = meantColumns(columns_, pin, "", used_);
            if (!group.areComplete()) continue;
            std::string unit = group.unit;
            if (!columns_[group.columns.front()].unit.empty()) unit.clear();
            std::erase_if(incomplete_, [pin](const std::string& text) { return text.starts_with(pin); });
            addChannel(pin, 1, group.columns.size(), group.columns, unit);
        }
    }

    /// Raw and calibrated values, or gravity as gx, gy, gz next to a gyroscope: which is meant cannot be told.
    void refuseRivals() const {
        for (const char* pin : {"3a", "3g", "3m"}) {
            const Channel* const channel = schema_.find(pin);
            if (!channel || std::ranges::find(mapped_, pin) != mapped_.end()) continue;
            const std::string name = sensorWords(channel->columns.front());
            MeantColumns rivals = meantColumns(columns_, pin, "", used_);
            for (const ColumnGroup& group : groupColumns(columns_, used_))
                if (group.pin == pin && group.missing.empty()) rivals.columns = group.columns;
            if (!rivals.areComplete() || sensorWords(rivals.columns.front()) != name) continue;
            throw Poco::DataFormatException(
                fmt::format("{} or {} may be pin '{}': say which with --map (fuse) or the property Mapping",
                            listed(namesOf(channel->columns)), listed(namesOf(rivals.columns)), pin));
        }
    }

    /// The words of a column's name besides quantity, axis and unit.
    std::string sensorWords(std::size_t column) const {
        const auto meaning = meaningOf(columns_[column].name);
        return meaning ? meaning->sensor : std::string();
    }

    /// An orientation that the form found in a form of its own.
    void takeAttitude() {
        if (!form_.attitude || schema_.find("quat")) return;
        if (std::ranges::any_of(form_.attitude->columns, [this](std::size_t i) { return used_[i]; })) return;
        addChannel("quat", 1, 4, form_.attitude->columns, form_.attitude->unit);
        schema_.channels.back().attitude = form_.attitude->kind;
    }

    void takeNamedGroups() {
        std::vector<ColumnGroup> groups = groupColumns(columns_, used_);
        for (ColumnGroup& group : groups) {
            if (schema_.find(group.pin) || isOfSensor(group)) continue;
            if (!group.missing.empty()) {
                for (const std::size_t column : group.columns) isExplained_[column] = true;
                incomplete_.push_back(group.pin + " lacks " + listed(group.missing) + ": found " +
                                      listed(namesOf(group.columns)));
                continue;
            }
            addChannel(group.pin, group.rows, group.cols, group.columns, "");
        }
    }

    /// "thigh.acc.x", the acceleration of the sensor "thigh", is no pin "thigh.acc".
    bool isOfSensor(const ColumnGroup& group) const {
        const ColumnName& first = columns_[group.columns.front()];
        return !first.sensor.empty() && group.pin.find('.') != std::string::npos && meaningOf(first.name);
    }

    void addChannel(const std::string& pin, std::size_t rows, std::size_t cols,
                    const std::vector<std::size_t>& columns, const std::string& unit) {
        if (schema_.find(pin)) {
            throw Poco::DataFormatException("the mapping gives pin '" + pin + "' twice");
        }
        Channel channel;
        channel.pin = pin;
        channel.rows = rows;
        channel.cols = cols;
        channel.columns = columns;
        channel.quantity = quantityOfPin(pin);
        channel.unit = unitOf(pin, columns, unit, channel.isUnitDeclared);
        for (const std::size_t column : columns) used_[column] = true;
        turnChannel(channel, form_, options_.axes);
        schema_.channels.push_back(std::move(channel));
    }

    /// An option wins over the mapping, the mapping over the header.
    Unit unitOf(const std::string& pin, const std::vector<std::size_t>& columns, const std::string& mapped,
                bool& declared) {
        std::string name = mapped.empty() ? columns_[columns.front()].unit : mapped;
        if (mapped.empty()) {
            for (const std::size_t column : columns) {
                if (columns_[column].unit == name) continue;
                throw Poco::DataFormatException("the columns of pin '" + pin + "' are in different units: '" +
                                                name + "' and '" + columns_[column].unit + "'");
            }
        }
        if (const auto option = options_.units.find(pin); option != options_.units.end())
            name = option->second;
        declared = !name.empty();
        return unitOfPin(pin, name, schema_.notes);
    }

    void findSensorColumn() {
        for (std::size_t i = 0; i < columns_.size() && !schema_.sensorColumn; ++i) {
            if (!used_[i] && columns_[i].isSensor()) schema_.sensorColumn = i;
        }
    }

    void noteLinearAcceleration() {
        std::vector<std::size_t> found;
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            if (!used_[i] && columns_[i].isLinearAcceleration()) found.push_back(i);
        }
        if (found.empty()) return;
        for (const std::size_t column : found) isExplained_[column] = true;
        std::string note = listed(namesOf(found)) + (found.size() == 1 ? " is" : " are") +
                           " linear acceleration, without gravity: no orientation can be told from it";
        if (!schema_.find("3a")) {
            note +=
                "; take the columns, or the file, of the acceleration with gravity, as the accelerometer "
                "measures it";
        }
        schema_.notes.push_back(note);
    }

    void noteUnknown() {
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            if (!used_[i] && !columns_[i].raw.empty() && !isOfTime(i))
                schema_.unknownColumns.push_back(columns_[i].raw);
        }
    }

    /// A second time or a counter, next to the time that is used.
    bool isOfTime(std::size_t i) const {
        const bool isDecided = !schema_.decisions.empty() && schema_.timeColumn;
        return isDecided && (columns_[i].isTime() || columns_[i].isCounter());
    }

    void describe() {
        std::vector<std::string> parts;
        if (schema_.timeColumn) parts.push_back(columns_[*schema_.timeColumn].raw);
        for (const Channel& channel : schema_.channels) {
            parts.push_back(channel.pin + " (" + listed(namesOf(channel.columns)) + ")");
        }
        schema_.columnNames = rawNames();
        schema_.understood = parts.empty() ? "nothing" : listed(parts, parts.size());
    }

    void refuseUseless() const {
        if (schema_.channels.empty()) refuseWithoutChannels();
        if (schema_.timeColumn || schema_.rate > 0.0 || schema_.isByArrival) return;
        std::string why = "no time column: found " + schema_.understood;
        if (!schema_.unknownColumns.empty()) why += "; unknown: " + listed(schema_.unknownColumns);
        if (!form_.whyNoTime.empty()) {
            throw Poco::DataFormatException(why + ". " + form_.whyNoTime +
                                            ": give the rate with --rate HZ, or the property Rate");
        }
        throw Poco::DataFormatException(why +
                                        ". Name a column t, time or timestamp, or give the rate of the rows");
    }

    [[noreturn]] void refuseWithoutChannels() const {
        std::string why = "no sensor columns found";
        for (const std::string& group : incomplete_) why += "; " + group;
        const std::vector<std::string> unknown = unexplained();
        if (!unknown.empty()) {
            why += "; unknown: " + listed(unknown) + ". Map them with --map (fuse) or the property Mapping";
        } else if (schema_.notes.empty()) {
            why += ". A recording has columns such as ax, ay, az, gx, gy, gz, mx, my, mz";
        }
        for (const std::string& note : schema_.notes) why += "\n" + note;
        throw Poco::DataFormatException(why);
    }

    /// Unknown columns that nothing else is said about.
    std::vector<std::string> unexplained() const {
        std::vector<std::string> names;
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            if (!used_[i] && !isExplained_[i] && !columns_[i].raw.empty()) names.push_back(columns_[i].raw);
        }
        return names;
    }

    void noteIncomplete() {
        for (const std::string& group : incomplete_) schema_.notes.push_back(group + "; the pin is not sent");
    }

    /// Refuses or notes options that have no effect: the user meant them to have one.
    void judgeOptions() {
        for (const auto& [pin, unit] : options_.units) {
            if (schema_.find(pin) || (pin == "t" && schema_.timeColumn)) continue;
            if (quantityOfPin(pin) == Quantity::kNone) {
                throw Poco::DataFormatException(
                    "a unit is given for '" + pin +
                    "', which is not a pin of this recording; found: " + schema_.understood);
            }
            schema_.notes.push_back("the unit given for '" + pin +
                                    "' is not used: there are no such columns");
        }
        const bool counts = schema_.timeKind == TableForm::Time::Kind::kCounter && schema_.counterStep > 0.0;
        if (schema_.timeColumn && !counts && options_.rate > 0.0) {
            schema_.notes.push_back("the rate given is not used: the rows have time stamps");
        }
    }

    std::vector<std::string> rawNames() const {
        std::vector<std::string> names;
        for (const ColumnName& column : columns_) names.push_back(column.raw);
        return names;
    }

    std::vector<std::string> namesOf(const std::vector<std::size_t>& columns) const {
        std::vector<std::string> names;
        for (const std::size_t column : columns) names.push_back(columns_[column].raw);
        return names;
    }

    const TableForm& form_;
    const SchemaOptions& options_;
    std::vector<ColumnName> columns_;
    std::vector<bool> used_;
    std::vector<std::string> mapped_;      // pins that the mapping gives
    std::vector<bool> isExplained_;        // not used, and another message says why
    std::vector<std::string> incomplete_;  // groups that lack a column: "3a lacks az: found ax, ay"
    Schema schema_;
};

}  // namespace

const Channel* Schema::find(std::string_view pin) const {
    const auto found = std::ranges::find(channels, pin, &Channel::pin);
    return found == channels.end() ? nullptr : &*found;
}

Schema understandHeader(std::string_view line, const SchemaOptions& options) {
    return understandTable(formOfHeader(line), options);
}

Schema understandTable(const TableForm& form, const SchemaOptions& options) {
    return Builder(form, options).build();
}

std::map<std::string, std::string> parseUnits(std::string_view text) {
    std::map<std::string, std::string> units;
    if (trimmed(text).empty()) return units;
    for (const std::string& entry : splitCells(text, ',')) {
        const auto equals = entry.find('=');
        const std::string pin(trimmed(std::string_view(entry).substr(0, std::min(equals, entry.size()))));
        if (equals == std::string::npos || pin.empty()) {
            throw Poco::DataFormatException("'" + entry +
                                            "' is not a unit: PIN=UNIT is expected, such as 3g=deg/s");
        }
        units[pin] = trimmed(std::string_view(entry).substr(equals + 1));
    }
    return units;
}

}  // namespace Kavelin::RecordingIO
