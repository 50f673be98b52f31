#include "io/recording/SensorColumn.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "io/recording/DateText.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const std::size_t kFewestRows = 6;  // to decide by

bool isText(const std::string& cell) {
    double value = 0.0;
    const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), value);
    return !cell.empty() && (error != std::errc() || *end == ':') && !secondsOfDate(cell);
}

/// Whether the texts, row by row, are those of several sensors.
bool tellsSensors(const std::vector<std::string>& texts) {
    if (texts.size() < kFewestRows) return false;
    std::map<std::string, std::size_t> counts;
    std::size_t changes = 0;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (!isText(texts[i])) return false;
        ++counts[texts[i]];
        if (i > 0 && texts[i] != texts[i - 1]) ++changes;
    }
    const bool areFew = counts.size() > 1 && 2 * counts.size() <= texts.size();
    const bool isOneAfterAnother = 2 * changes >= texts.size();
    return areFew && isOneAfterAnother &&
           std::ranges::all_of(counts, [](const auto& count) { return count.second > 1; });
}

}  // namespace

void findSensorColumn(TableForm& form, const std::vector<std::string>& rows) {
    if (std::ranges::any_of(form.columns, &ColumnName::isSensor)) return;
    std::vector<std::vector<std::string>> texts(form.columns.size());
    for (const std::string& row : rows) {
        const std::vector<std::string> cells = splitCells(row, form.separator);
        for (std::size_t i = 0; i < std::min(cells.size(), texts.size()); ++i) texts[i].push_back(cells[i]);
    }
    const auto found = std::ranges::find_if(texts, tellsSensors);
    if (found != texts.end())
        form.columns[static_cast<std::size_t>(found - texts.begin())].tellsSensors = true;
}

}  // namespace Kavelin::RecordingIO
