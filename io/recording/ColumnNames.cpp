#include "io/recording/ColumnNames.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <set>

#include "io/recording/ColumnMeaning.h"
#include "io/recording/Text.h"
#include "io/recording/Units.h"

namespace Kavelin::RecordingIO {

namespace {

/// Names before the axis, by pin; compared as keys.
struct AxisFamily {
    std::string_view pin;
    std::vector<std::string_view> prefixes;
    std::vector<std::string_view> axes;
    std::vector<std::string_view> otherAxes;
};

const std::vector<AxisFamily>& families() {
    static const std::vector<AxisFamily> all = {
        {"3a",
         {"a", "acc", "accel", "accelero", "accelerometer", "acceleration", "3a", "arss"},
         {"x", "y", "z"},
         {}},
        {"3g",
         {"g", "gyr", "gyro", "gyroscope", "angularrate", "angularvelocity", "omega", "3g", "wrss"},
         {"x", "y", "z"},
         {}},
        {"3m", {"m", "mag", "magn", "magneto", "magnetometer", "magneticfield", "3m"}, {"x", "y", "z"}, {}},
        {"quat",
         {"q", "quat", "quatq", "quaternion", "quaternionq"},
         {"w", "x", "y", "z"},
         {"0", "1", "2", "3"}},
    };
    return all;
}

std::optional<std::size_t> columnWithKey(const std::vector<ColumnName>& columns,
                                         const std::vector<bool>& used, const std::string& key) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (!used[i] && columns[i].key == key) return i;
    }
    return std::nullopt;
}

/// The name that the column of another axis would have: "Acc_Z" for "z" after "Acc_X (g)".
std::string nameForAxis(const ColumnName& found, char axis) {
    std::string name = found.name;
    char& last = name.back();
    const bool isUpper = last >= 'A' && last <= 'Z';
    if (lowered(name).back() != found.key.back()) return std::string(1, axis);
    last = isUpper ? static_cast<char>(axis - 'a' + 'A') : axis;
    return name;
}

ColumnGroup collect(const std::vector<ColumnName>& columns, const std::vector<bool>& used,
                    std::string_view pin, std::string_view prefix,
                    const std::vector<std::string_view>& axes) {
    ColumnGroup group;
    group.pin = pin;
    group.cols = axes.size();
    for (const std::string_view axis : axes) {
        const std::string key = std::string(prefix) + std::string(axis);
        if (const auto column = columnWithKey(columns, used, key)) {
            group.columns.push_back(*column);
        } else {
            group.missing.emplace_back(axis);
        }
    }
    if (group.columns.empty()) return group;
    for (std::string& axis : group.missing) axis = nameForAxis(columns[group.columns.front()], axis.front());
    return group;
}

/// The complete group of a family under one of its names; if there is none, the one with most columns.
std::optional<ColumnGroup> bestGroup(const std::vector<ColumnName>& columns, const std::vector<bool>& used,
                                     const AxisFamily& family) {
    std::optional<ColumnGroup> best;
    for (const std::string_view prefix : family.prefixes) {
        for (const auto* axes : {&family.axes, &family.otherAxes}) {
            if (axes->empty()) continue;
            ColumnGroup group = collect(columns, used, family.pin, prefix, *axes);
            if (group.columns.empty()) continue;
            if (!best || group.missing.size() < best->missing.size()) best = std::move(group);
        }
    }
    return best;
}

/// Whether a group under a name that may mean anything else is meant: a field is "Bx", or has its unit.
bool isMeant(const std::vector<ColumnName>& columns, const ColumnGroup& group) {
    const ColumnName& first = columns[group.columns.front()];
    if (group.pin == "3g") return first.key.size() == 2 || findUnit(Quantity::kRate, first.unit);
    return first.name.starts_with('B') || findUnit(Quantity::kField, first.unit);
}

/// Rates called w or as, and, where no other field is there, fields called B or h.
std::optional<ColumnGroup> groupOfOneLetter(const std::vector<ColumnName>& columns,
                                            const std::vector<bool>& used, const AxisFamily& family) {
    if (family.pin == "3m") {
        const auto other = bestGroup(columns, std::vector<bool>(columns.size(), false), family);
        if (other && other->missing.empty()) return std::nullopt;
    }
    const std::vector<std::string_view> names = family.pin == "3g" ? std::vector<std::string_view>{"w", "as"}
                                                : family.pin == "3m" ? std::vector<std::string_view>{"b", "h"}
                                                                     : std::vector<std::string_view>{};
    for (const std::string_view name : names) {
        ColumnGroup group = collect(columns, used, family.pin, name, family.axes);
        if (!group.columns.empty() && group.missing.empty() && isMeant(columns, group)) return group;
    }
    return std::nullopt;
}

/// Places "pin.x", "pin.w" or "pin.rc" into its matrix;
/// the number of columns there are decides which shape it is.
void addDotted(const std::vector<ColumnName>& columns, std::vector<bool>& used, const std::string& pin,
               const std::vector<std::size_t>& members, std::vector<ColumnGroup>& groups) {
    ColumnGroup group;
    group.pin = pin;
    const auto at = [&](const std::string& suffix) {
        for (const std::size_t i : members) {
            if (columns[i].name == pin + "." + suffix) return std::optional(i);
        }
        return std::optional<std::size_t>();
    };
    std::vector<std::string> suffixes;
    if (at("x")) {
        suffixes =
            at("w") ? std::vector<std::string>{"w", "x", "y", "z"} : std::vector<std::string>{"x", "y", "z"};
        group.cols = suffixes.size();
    } else if (at("00")) {
        while (group.cols < 10 && at("0" + std::to_string(group.cols))) ++group.cols;
        while (group.rows < 10 && at(std::to_string(group.rows) + "0")) ++group.rows;
        for (std::size_t r = 0; r < group.rows; ++r) {
            for (std::size_t c = 0; c < group.cols; ++c) {
                suffixes.push_back(std::to_string(r) + std::to_string(c));
            }
        }
    } else {
        return;
    }
    for (const std::string& suffix : suffixes) {
        if (const auto column = at(suffix)) {
            group.columns.push_back(*column);
        } else {
            group.missing.push_back(pin + "." + suffix);
        }
    }
    for (const std::size_t column : group.columns) used[column] = true;
    groups.push_back(std::move(group));
}

void groupDotted(const std::vector<ColumnName>& columns, std::vector<bool>& used,
                 std::vector<ColumnGroup>& groups) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const auto dot = columns[i].name.rfind('.');
        if (used[i] || dot == std::string::npos || dot == 0) continue;
        const std::string pin = columns[i].name.substr(0, dot);
        std::vector<std::size_t> members;
        for (std::size_t j = i; j < columns.size(); ++j) {
            if (!used[j] && columns[j].name.rfind(pin + ".", 0) == 0) members.push_back(j);
        }
        addDotted(columns, used, pin, members, groups);
    }
}

/// Where the bracket begins that ends a name, as in "acc x (m/(s^2))".
std::size_t openingOf(const std::string& name) {
    const char last = name.empty() ? '\0' : name.back();
    if (last == ']') return name.rfind('[');
    if (last != ')') return std::string::npos;
    int depth = 0;
    for (std::size_t i = name.size(); i-- > 0;) {
        depth += name[i] == ')' ? 1 : name[i] == '(' ? -1 : 0;
        if (depth == 0) return i;
    }
    return std::string::npos;
}

[[noreturn]] void refuseMapping(std::string_view entry, const std::string& why) {
    throw Poco::DataFormatException("the mapping '" + std::string(trimmed(entry)) + "' " + why +
                                    "; expected is PIN = COLUMN, COLUMN, ... (UNIT) as RxC, such as "
                                    "3a = accX, accY, accZ (g)");
}

[[noreturn]] void refuseHeader(std::string_view entry, const std::string& why) {
    throw Poco::DataFormatException("the header '" + std::string(trimmed(entry)) + "' " + why +
                                    "; expected is PIN = NAME, NAME, ..., such as "
                                    "euler = yaw (deg), pitch (deg), roll (deg)");
}

/// What stands left and right of "=", and the names on the right.
template <class Refuse>
void splitEntry(std::string_view entry, std::string& pin, std::string_view& names, const Refuse& refuse) {
    const auto equals = entry.find('=');
    if (equals == std::string_view::npos) refuse(entry, "has no '='");
    pin = trimmed(entry.substr(0, equals));
    if (pin.empty()) refuse(entry, "names no pin");
    names = trimmed(entry.substr(equals + 1));
}

template <class Refuse>
std::vector<std::string> namesOf(std::string_view entry, std::string_view text, const Refuse& refuse) {
    std::vector<std::string> names = splitCells(text, ',');
    for (const std::string& name : names) {
        if (name.empty()) refuse(entry, "names an empty column");
    }
    return names;
}

/// Calls `take` for each entry: they are separated by semicolons that are not in quotes.
template <class Take>
void forEachEntry(std::string_view text, const Take& take) {
    std::size_t begin = 0;
    bool quoted = false;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] == '"') quoted = !quoted;
        if (i < text.size() && (quoted || text[i] != ';')) continue;
        const std::string_view entry = text.substr(begin, i - begin);
        if (!trimmed(entry).empty()) take(entry);
        begin = i + 1;
    }
}

/// Takes "as RxC" off the end of an entry, if it is there.
void takeShape(std::string_view entry, std::string_view& columns, MappingEntry& out) {
    const auto as = columns.rfind(" as ");
    if (as == std::string_view::npos) return;
    const std::string_view shape = trimmed(columns.substr(as + 4));
    const char* end = shape.data() + shape.size();
    const auto [cross, error] = std::from_chars(shape.data(), end, out.rows);
    if (error != std::errc() || cross == end || (*cross != 'x' && *cross != 'X')) return;
    const auto [last, secondError] = std::from_chars(cross + 1, end, out.cols);
    if (secondError != std::errc() || last != end) refuseMapping(entry, "has a shape that is not RxC");
    columns = trimmed(columns.substr(0, as));
}

/// Takes "(unit)" off the end of an entry, if it is there.
void takeUnit(std::string_view& columns, MappingEntry& out) {
    if (columns.empty() || columns.back() != ')') return;
    const auto open = columns.rfind('(');
    if (open == std::string_view::npos || open == 0) return;
    out.unit = trimmed(columns.substr(open + 1, columns.size() - open - 2));
    columns = trimmed(columns.substr(0, open));
}

MappingEntry parseEntry(std::string_view entry) {
    MappingEntry out;
    std::string_view columns;
    splitEntry(entry, out.pin, columns, refuseMapping);
    out.rows = 0;
    takeShape(entry, columns, out);
    takeUnit(columns, out);
    out.columns = namesOf(entry, columns, refuseMapping);
    if (out.rows == 0) {
        out.rows = 1;
        out.cols = out.columns.size();
    }
    // Compared by division: the product of two absurd numbers could wrap around to the right count.
    const std::size_t count = out.columns.size();
    if (out.cols == 0 || count % out.cols != 0 || count / out.cols != out.rows) {
        refuseMapping(entry, "names " + std::to_string(count) + " columns, not as many as its shape");
    }
    if (out.pin == "t" && count != 1) refuseMapping(entry, "gives the time more than one column");
    return out;
}

}  // namespace

ColumnName::ColumnName(std::string_view cell, std::string_view meaning) : raw(cell), name(trimmed(meaning)) {
    const std::size_t open = openingOf(name);
    if (open != std::string::npos && open > 0) {
        unit = trimmed(std::string_view(name).substr(open + 1, name.size() - open - 2));
        name = trimmed(std::string_view(name).substr(0, open));
    }
    takeIndex();
    takeTimeUnit();
    key = lowered(name);
    key.erase(
        std::remove_if(key.begin(), key.end(),
                       [](char c) { return c == ' ' || c == '_' || c == '-' || c == '.' || c == '\t'; }),
        key.end());
}

/// "gyro_rad[0]": an element, not a unit.
void ColumnName::takeIndex() {
    if (unit.size() != 1 || unit[0] < '0' || unit[0] > '3' || raw.back() != ']') return;
    name += "_" + unit;
    unit.clear();
}

/// "time_ms", "timestamp (ms)": the unit of a time is often a part of its name.
void ColumnName::takeTimeUnit() {
    if (!unit.empty()) return;
    std::string suffix;
    std::size_t length = unitSuffix(name, suffix);
    if (name.size() > 2 && (name.ends_with("_s") || name.ends_with(" s"))) {
        suffix = "s";
        length = 2;
    }
    for (const auto& [written, meant] : {std::pair("millis", "ms"),
                                         {"ms", "ms"},
                                         {"msec", "ms"},
                                         {"msecs", "ms"},
                                         {"us", "us"},
                                         {"usec", "us"},
                                         {"secs", "s"},
                                         {"milliseconds", "ms"},
                                         {"micros", "us"},
                                         {"microseconds", "us"},
                                         {"nanos", "ns"},
                                         {"nanoseconds", "ns"},
                                         {"seconds", "s"}}) {
        if (!equalsIgnoringCase(name, written)) continue;
        unit = meant;
        name = "time";
        return;
    }
    if (length == 0 || !findUnit(Quantity::kTime, suffix)) return;
    ColumnName shorter(std::string_view(name).substr(0, name.size() - length));
    if (!shorter.isTime()) return;
    unit = suffix;
    name = shorter.name;
}

bool ColumnName::isTime() const {
    static constexpr std::string_view kNames[] = {"t",
                                                  "time",
                                                  "timestamp",
                                                  "secondselapsed",
                                                  "elapsed",
                                                  "elapsedtime",
                                                  "sampletimefine",
                                                  "datetime",
                                                  "unixtime",
                                                  "epoch",
                                                  "epoc",
                                                  "systemtime",
                                                  "devicetime",
                                                  "timestampunix",
                                                  "localtime",
                                                  "utc",
                                                  "timestamputc",
                                                  "timeutc",
                                                  "isotime",
                                                  "sensortime",
                                                  "chiptime",
                                                  "unixtimestamp",
                                                  "epochtime",
                                                  "hosttimestamp",
                                                  "devicetimestamp",
                                                  "sensortimestamp",
                                                  "loggingtime",
                                                  "relativetime",
                                                  "timesincestart",
                                                  "timesincestartin",
                                                  "timeofday",
                                                  "sampletime",
                                                  "date",
                                                  "zeit",
                                                  "zeitstempel",
                                                  "datum",
                                                  "uhrzeit"};
    return std::ranges::find(kNames, key) != std::end(kNames);
}

bool ColumnName::isCounter() const {
    static constexpr std::string_view kNames[] = {
        "packetcounter", "packetnumber", "packetnum",      "packetid",    "packet",   "counter",
        "samplecounter", "samplenumber", "samplenum",      "sampleindex", "sampleid", "sample",
        "framenumber",   "frameindex",   "frame",          "index",       "idx",      "count",
        "seq",           "sequence",     "sequencenumber", "row",         "rownumber"};
    return std::ranges::find(kNames, key) != std::end(kNames);
}

bool ColumnName::isSensor() const {
    if (tellsSensors) return true;
    static constexpr std::string_view kThings[] = {"sensor", "device",  "imu",  "node", "unit",
                                                   "mac",    "segment", "limb", "body"};
    static constexpr std::string_view kEnds[] = {"", "id", "name", "number", "no", "address", "location"};
    for (const std::string_view thing : kThings) {
        for (const std::string_view end : kEnds) {
            if (key == std::string(thing) + std::string(end)) return true;
        }
    }
    return key == "id" || key == "serial" || key == "serialnumber" || key == "bodypart" ||
           key == "placement" || key == "side" || key == "location" || key == "joint";
}

bool ColumnName::isLinearAcceleration() const {
    static constexpr std::string_view kNames[] = {
        "linearacceleration", "linearaccel", "linearacc",        "linacc", "linaccel",
        "freeacceleration",   "freeacc",     "useracceleration", "useracc"};
    return !key.empty() && std::any_of(std::begin(kNames), std::end(kNames), [this](std::string_view known) {
        return std::string_view(key).substr(0, key.size() - 1) == known;
    });
}

std::vector<ColumnGroup> groupColumns(const std::vector<ColumnName>& columns, const std::vector<bool>& used) {
    std::vector<bool> taken = used;
    std::vector<ColumnGroup> groups;
    for (const AxisFamily& family : families()) {
        auto group = bestGroup(columns, taken, family);
        if (!group || !group->missing.empty()) {
            if (auto other = groupOfOneLetter(columns, taken, family)) group = std::move(other);
        }
        if (!group) continue;
        for (const std::size_t column : group->columns) taken[column] = true;
        groups.push_back(std::move(*group));
    }
    groupDotted(columns, taken, groups);
    return groups;
}

std::vector<MappingEntry> parseMapping(std::string_view text) {
    std::vector<MappingEntry> entries;
    forEachEntry(text, [&](std::string_view entry) { entries.push_back(parseEntry(entry)); });
    return entries;
}

std::string mappingFor(const std::vector<ColumnName>& columns, std::string_view mapping) {
    std::string own;
    forEachEntry(mapping, [&](std::string_view entry) {
        const std::vector<std::string> names = parseEntry(entry).columns;
        const bool isHere = std::ranges::all_of(names, [&](const std::string& name) {
            return std::ranges::any_of(columns, [&](const ColumnName& column) {
                return column.raw == name || equalsIgnoringCase(column.name, name);
            });
        });
        if (isHere) own += std::string(entry) + ";";
    });
    return own;
}

std::vector<HeaderEntry> parseHeader(std::string_view text) {
    std::vector<HeaderEntry> entries;
    std::set<std::string> pins;
    std::set<std::string> names{"t"};
    forEachEntry(text, [&](std::string_view entry) {
        HeaderEntry out;
        std::string_view columns;
        splitEntry(entry, out.pin, columns, refuseHeader);
        out.columns = namesOf(entry, columns, refuseHeader);
        if (!pins.insert(out.pin).second) refuseHeader(entry, "names the pin '" + out.pin + "' again");
        for (const std::string& name : out.columns) {
            if (!names.insert(name).second) refuseHeader(entry, "has the name '" + name + "' again");
        }
        entries.push_back(std::move(out));
    });
    return entries;
}

}  // namespace Kavelin::RecordingIO
