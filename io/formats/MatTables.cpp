#include "io/formats/MatTables.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "io/recording/ColumnMeaning.h"
#include "io/recording/Text.h"
#include "io/recording/TimeChoice.h"

namespace Kavelin::RecordingIO {

namespace {

const std::size_t kRowsToDecideBy = 64;
const double kFirstDay = 6.9e5;  // 1889, as days since the year 0 count
const double kLastDay = 7.7e5;   // 2108
const double kSecondsOfDay = 86400.0;

/// The rows of a text "Channels", or the texts in its cells.
std::vector<std::string> channelNames(const MatContents& contents) {
    std::vector<std::string> names;
    for (const MatText& text : contents.texts) {
        if (text.name == "Channels" || text.name.starts_with("Channels{"))
            names.insert(names.end(), text.rows.begin(), text.rows.end());
    }
    return names;
}

/// The matrix with one row, or one column, for each of `count` channels.
const MatArray* channelMatrix(const MatContents& contents, const std::string& name, std::size_t count) {
    const auto found = std::ranges::find(contents.arrays, name, &MatArray::name);
    if (found == contents.arrays.end() || (found->rows != count && found->columns != count)) return nullptr;
    return &*found;
}

/// The rows of a sensor's columns end where its times do no longer increase: the rest is padding.
std::size_t lengthOf(const std::vector<double>& times) {
    std::size_t length = std::min<std::size_t>(times.size(), 1);
    while (length < times.size() && times[length] > times[length - 1]) ++length;
    return length;
}

}  // namespace

void MatTable::add(const std::string& raw, const std::string& meaning, std::vector<double> values) {
    table_.form.columns.emplace_back(raw, meaning);
    table_.columns.push_back(std::move(values));
}

bool MatTable::has(const std::string& raw) const {
    return std::ranges::find(table_.form.columns, raw, &ColumnName::raw) != table_.form.columns.end();
}

std::vector<MatTable> MatTable::perSensor() && {
    std::vector<MatTable> tables;
    const auto found = std::ranges::find_if(table_.form.columns, &ColumnName::isTime);
    const auto time = static_cast<std::size_t>(found - table_.form.columns.begin());
    std::vector<bool> used(table_.form.columns.size(), false);
    std::vector<ColumnGroup> groups = groupColumns(table_.form.columns, used);
    std::erase_if(groups, [](const ColumnGroup& group) { return !group.missing.empty(); });
    if (time < table_.columns.size() && groups.size() > 1 && runsBackwards(time)) {
        say("sensors apart, as the times of all together run backwards");
        for (const ColumnGroup& group : groups) tables.push_back(samplesOf(group, time));
    } else {
        tables.push_back(std::move(*this));
    }
    return tables;
}

bool MatTable::runsBackwards(std::size_t time) const {
    double latest = -std::numeric_limits<double>::infinity();
    for (const double value : table_.columns[time]) {
        if (value < latest) return true;
        if (!std::isnan(value)) latest = value;
    }
    return false;
}

MatTable MatTable::samplesOf(const ColumnGroup& group, std::size_t time) const {
    MatTable out;
    out.table_.form = table_.form;
    out.table_.form.columns = {table_.form.columns[time]};
    std::vector<std::size_t> columns = {time};
    columns.insert(columns.end(), group.columns.begin(), group.columns.end());
    for (const std::size_t column : group.columns)
        out.table_.form.columns.push_back(table_.form.columns[column]);
    out.table_.columns.resize(columns.size());
    for (std::size_t row = 0; row < table_.columns[time].size(); ++row) {
        const auto holdsNothing = [&](std::size_t column) { return std::isnan(table_.columns[column][row]); };
        if (std::ranges::any_of(columns, holdsNothing)) continue;
        for (std::size_t i = 0; i < columns.size(); ++i)
            out.table_.columns[i].push_back(table_.columns[columns[i]][row]);
    }
    return out;
}

TablePlan MatTable::plan(const Sighting& sighting, const std::string& file) && {
    const auto shortest = std::ranges::min_element(table_.columns, {}, &std::vector<double>::size);
    const std::size_t length = shortest == table_.columns.end() ? 0 : shortest->size();
    for (std::vector<double>& column : table_.columns) column.resize(length);
    takeDays();
    std::vector<std::string> rows;
    for (std::size_t i = 0; i < std::min(length, kRowsToDecideBy); ++i) {
        std::string row;
        for (const std::vector<double>& column : table_.columns)
            row += (row.empty() ? "" : ",") + exactText(column[i]);
        rows.push_back(std::move(row));
    }
    chooseTime(table_.form, rows, hintsOf(sighting.options(), true));
    TablePlan plan;
    plan.file = file;
    plan.form = table_.form;
    plan.arrays = std::make_shared<const ArrayTable>(std::move(table_));
    return plan;
}

/// Times of datenum are days.
void MatTable::takeDays() {
    const auto time = std::ranges::find_if(table_.form.columns, &ColumnName::isTime);
    if (time == table_.form.columns.end() || !time->unit.empty()) return;
    std::vector<double>& values =
        table_.columns[static_cast<std::size_t>(time - table_.form.columns.begin())];
    if (values.size() < 2 || !std::ranges::all_of(values, [](double day) {
            return std::isnan(day) || (day > kFirstDay && day < kLastDay);
        }))
        return;
    const double first = std::floor(values.front());
    for (double& value : values) value = (value - first) * kSecondsOfDay;
    say("time from " + time->raw + " in days");
}

std::vector<double> elementOf(const MatArray& array, std::size_t i, bool samplesAreColumns) {
    const std::size_t samples = samplesAreColumns ? array.columns : array.rows;
    std::vector<double> values(samples);
    for (std::size_t k = 0; k < samples; ++k)
        values[k] = array.values[samplesAreColumns ? k * array.rows + i : i * array.rows + k];
    return values;
}

std::vector<SensorPlan> trignoSensors(const MatContents& contents, const Sighting& sighting,
                                      const std::string& file) {
    const std::vector<std::string> names = channelNames(contents);
    if (names.empty()) return {};
    const std::size_t count = names.size();
    const MatArray* const time = channelMatrix(contents, "Time", count);
    const MatArray* const data = channelMatrix(contents, "Data", count);
    if (!time || !data) return {};
    struct Table {
        std::string sensor;
        std::string pin;
        MatTable table;
    };
    std::vector<Table> tables;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string& name = names[i];
        const std::size_t colon = name.find(':');
        if (colon == std::string::npos) continue;
        // "ACC.X 2": the number is the sensor's.
        const std::string_view channel = trimmed(std::string_view(name).substr(colon + 1));
        const auto meaning = meaningOf(channel.substr(0, channel.rfind(' ')));
        if (!meaning || meaning->axis > 2) continue;
        const std::string sensor = name.substr(0, colon);
        std::vector<double> times = elementOf(*time, i, time->rows == count);
        times.resize(lengthOf(times));
        auto found = std::ranges::find_if(
            tables, [&](const Table& table) { return table.sensor == sensor && table.pin == meaning->pin; });
        if (found == tables.end()) {
            found = tables.insert(tables.end(), {sensor, meaning->pin, {}});
            found->table.add("Time", "Time (s)", std::move(times));
            found->table.say("Trigno: acceleration in g, rate in deg/s");
        }
        const std::string unit = meaning->pin == "3a" ? " (g)" : meaning->pin == "3g" ? " (deg/s)" : "";
        const std::string quantity = meaning->pin == "3a" ? "acc " : meaning->pin == "3g" ? "gyr " : "mag ";
        found->table.add(name, quantity + "xyz"[meaning->axis] + unit,
                         elementOf(*data, i, data->rows == count));
    }
    std::vector<SensorPlan> sensors;
    for (Table& table : tables) {
        auto sensor = std::ranges::find(sensors, table.sensor, &SensorPlan::name);
        if (sensor == sensors.end())
            sensor = sensors.insert(sensors.end(), {.name = table.sensor, .tables = {}, .notes = {}});
        sensor->tables.push_back(std::move(table.table).plan(sighting, file));
    }
    return sensors;
}

}  // namespace Kavelin::RecordingIO
