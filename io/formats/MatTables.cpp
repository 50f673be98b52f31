#include "io/formats/MatTables.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const double kFirstDay = 6.9e5;  // 1889, as days since the year 0 count
const double kLastDay = 7.7e5;   // 2108
const double kSecondsOfDay = 86400.0;

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
    ArrayView view = ArrayView::of(table_);
    chooseTime(view, sighting.options());
    table_.form = std::move(view.form);
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

}  // namespace Kavelin::RecordingIO
