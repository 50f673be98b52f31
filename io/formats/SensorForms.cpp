#include "io/formats/SensorForms.h"

#include <algorithm>
#include <charconv>

#include "io/recording/PacketCounter.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

/// The first value in the time column of a table.
std::optional<double> firstCount(const Sighting& sighting, const TablePlan& table) {
    if (!table.form.time || table.form.time->kind != TableForm::Time::Kind::kCounter) return std::nullopt;
    const std::vector<std::string> lines = sighting.firstLines(table.file);
    for (std::size_t i = table.form.firstRow - 1; i < lines.size(); ++i) {
        const std::vector<std::string> cells = splitCells(lines[i], table.form.separator);
        if (table.form.time->column >= cells.size()) continue;
        const std::string& cell = cells[table.form.time->column];
        double value = 0.0;
        const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), value);
        if (error == std::errc() && end == cell.data() + cell.size()) return value;
    }
    return std::nullopt;
}

}  // namespace

TableForm formOfSensor(const TableForm& form, const std::string& sensor) {
    TableForm own = form;
    for (ColumnName& column : own.columns) {
        if (!column.sensor.empty() && column.sensor != sensor) column = ColumnName("");
        column.sensor.clear();
    }
    return own;
}

void shareOrigin(const Sighting& sighting, std::vector<SensorPlan>& sensors) {
    std::vector<double> counts;
    for (const SensorPlan& sensor : sensors) {
        const std::optional<double> count = firstCount(sighting, sensor.tables.front());
        if (!count) return;
        counts.push_back(*count);
    }
    // The first is the one from which all others lie ahead, perhaps where the counter has started over.
    const double halfRange = std::ranges::max(counts) < 65536.0 ? 32768.0 : 2147483648.0;
    const auto first = std::ranges::find_if(counts, [&](double origin) {
        return std::ranges::all_of(counts, [&](double count) {
            return PacketCounter(0.0, origin).add(count).value_or(halfRange) < halfRange;
        });
    });
    if (first == counts.end()) return;
    for (SensorPlan& sensor : sensors) sensor.tables.front().form.time->origin = *first;
}

}  // namespace Kavelin::RecordingIO
