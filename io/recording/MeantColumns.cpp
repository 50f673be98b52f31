#include "io/recording/MeantColumns.h"

#include <algorithm>

#include "io/recording/ColumnMeaning.h"

namespace Kavelin::RecordingIO {

bool MeantColumns::areComplete() const { return std::ranges::find(columns, kNoColumn) == columns.end(); }

MeantColumns meantColumns(const std::vector<ColumnName>& columns, const std::string& pin,
                          const std::string& sensor, const std::vector<bool>& used) {
    MeantColumns found;
    found.columns.assign(pin == "quat" ? 4 : 3, MeantColumns::kNoColumn);
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (!used.empty() && used[i]) continue;
        const auto meaning = meaningOf(columns[i].name);
        if (!meaning || meaning->pin != pin || meaning->axis >= found.columns.size()) continue;
        if (!sensor.empty() && meaning->sensor != sensor) continue;
        std::size_t& place = found.columns[meaning->axis];
        if (place != MeantColumns::kNoColumn) continue;
        place = i;
        found.unit = meaning->unit;
    }
    return found;
}

std::vector<std::string> sensorsOf(const std::vector<ColumnName>& columns) {
    std::vector<std::string> sensors;
    for (const ColumnName& column : columns) {
        if (!column.sensor.empty() && std::ranges::find(sensors, column.sensor) == sensors.end())
            sensors.push_back(column.sensor);
    }
    return sensors;
}

void nameSensors(std::vector<ColumnName>& columns) {
    std::vector<ColumnName> named = columns;
    for (ColumnName& column : named) {
        if (const auto meaning = meaningOf(column.name)) column.sensor = meaning->sensor;
    }
    const std::vector<std::string> sensors = sensorsOf(named);
    const auto isWhole = [&named](const std::string& sensor) {
        return meantColumns(named, "3a", sensor, {}).areComplete() ||
               meantColumns(named, "3g", sensor, {}).areComplete();
    };
    if (std::ranges::count_if(sensors, isWhole) > 1) columns = std::move(named);
}

}  // namespace Kavelin::RecordingIO
