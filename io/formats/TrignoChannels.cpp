#include "io/formats/TrignoChannels.h"

#include <algorithm>

#include "io/formats/MatTables.h"
#include "io/formats/SensorNames.h"
#include "io/recording/ColumnMeaning.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

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

/// A sensor's channels of one pin.
struct Table {
    std::string sensor;
    std::string pin;
    MatTable table;
};

Table& tableOf(std::vector<Table>& tables, const std::string& sensor, const std::string& pin,
               std::vector<double> times) {
    for (Table& table : tables) {
        if (table.sensor == sensor && table.pin == pin) return table;
    }
    Table& table = tables.emplace_back(Table{sensor, pin, {}});
    times.resize(lengthOf(times));
    table.table.add("Time", "Time (s)", std::move(times));
    table.table.say("Trigno: acceleration in g, rate in deg/s");
    return table;
}

std::string columnName(const ColumnMeaning& meaning) {
    const std::string unit = meaning.pin == "3a" ? " (g)" : meaning.pin == "3g" ? " (deg/s)" : "";
    return quantityOfPin(meaning.pin) + " " + "xyz"[meaning.axis] + unit;
}

std::vector<SensorPlan> sensorsOf(std::vector<Table> tables, const Sighting& sighting,
                                  const std::string& file) {
    std::vector<SensorPlan> sensors;
    for (Table& table : tables) {
        auto sensor = std::ranges::find(sensors, table.sensor, &SensorPlan::name);
        if (sensor == sensors.end())
            sensor = sensors.insert(sensors.end(), {.name = table.sensor, .tables = {}, .notes = {}});
        sensor->tables.push_back(std::move(table.table).plan(sighting, file));
    }
    return sensors;
}

}  // namespace

std::vector<SensorPlan> trignoSensors(const MatContents& contents, const Sighting& sighting,
                                      const std::string& file) {
    const std::vector<std::string> names = channelNames(contents);
    if (names.empty()) return {};
    const std::size_t count = names.size();
    const MatArray* const time = channelMatrix(contents, "Time", count);
    const MatArray* const data = channelMatrix(contents, "Data", count);
    if (!time || !data) return {};
    std::vector<Table> tables;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t colon = names[i].find(':');
        if (colon == std::string::npos) continue;
        // "ACC.X 2": the number is the sensor's.
        const std::string_view channel = trimmed(std::string_view(names[i]).substr(colon + 1));
        const auto meaning = meaningOf(channel.substr(0, channel.rfind(' ')));
        if (!meaning || meaning->pin == "quat") continue;
        Table& table = tableOf(tables, names[i].substr(0, colon), meaning->pin,
                               elementOf(*time, i, time->rows == count));
        table.table.add(names[i], columnName(*meaning), elementOf(*data, i, data->rows == count));
    }
    return sensorsOf(std::move(tables), sighting, file);
}

}  // namespace Kavelin::RecordingIO
