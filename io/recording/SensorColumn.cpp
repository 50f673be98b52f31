#include "io/recording/SensorColumn.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "io/recording/DateText.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const std::size_t kFewestRows = 6;  // to decide by

using Cells = std::vector<std::string>;

bool isText(const std::string& cell) {
    double value = 0.0;
    const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), value);
    return !cell.empty() && (error != std::errc() || *end == ':') && !secondsOfDate(cell);
}

/// Whether the cells, row by row, are few, and mostly another one in the next row.
bool alternate(const Cells& cells) {
    if (cells.size() < kFewestRows) return false;
    std::map<std::string, std::size_t> counts;
    std::size_t changes = 0;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        ++counts[cells[i]];
        if (i > 0 && cells[i] != cells[i - 1]) ++changes;
    }
    const bool areFew = counts.size() > 1 && 2 * counts.size() <= cells.size();
    return areFew && 2 * changes >= cells.size() &&
           std::ranges::all_of(counts, [](const auto& count) { return count.second > 1; });
}

/// Whether rows one after another have one time: those of several sensors.
bool comeTogether(const Cells& times) {
    std::size_t same = 0;
    for (std::size_t i = 1; i < times.size(); ++i) same += times[i] == times[i - 1] ? 1 : 0;
    return 5 * same >= 2 * (times.size() - 1);
}

}  // namespace

void findSensorColumn(TableForm& form, const std::vector<std::string>& rows) {
    if (std::ranges::any_of(form.columns, &ColumnName::isSensor)) return;
    std::vector<Cells> columns(form.columns.size());
    for (const std::string& row : rows) {
        const Cells cells = splitCells(row, form.separator);
        for (std::size_t i = 0; i < std::min(cells.size(), columns.size()); ++i)
            columns[i].push_back(cells[i]);
    }
    const auto time = std::ranges::find_if(form.columns, &ColumnName::isTime);
    const bool isOfSeveral = time != form.columns.end() &&
                             comeTogether(columns[static_cast<std::size_t>(time - form.columns.begin())]);
    std::vector<bool> isVector(columns.size(), false);
    for (const ColumnGroup& group : groupColumns(form.columns, std::vector<bool>(columns.size(), false))) {
        for (const std::size_t column : group.columns) isVector[column] = true;
    }
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const bool isSensor = isOfSeveral || std::ranges::all_of(columns[i], isText);
        if (isVector[i] || form.columns[i].isTime() || !isSensor || !alternate(columns[i])) continue;
        form.columns[i].tellsSensors = true;
        return;
    }
}

}  // namespace Kavelin::RecordingIO
