#include <algorithm>

#include "io/formats/Formats.h"
#include "io/formats/SensorForms.h"
#include "io/recording/DateText.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const std::string kPrefix = "Shimmer_";
const std::string kCalibrated = "_CAL";

bool isExport(const std::vector<std::string>& lines) {
    return std::any_of(
        lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(lines.size(), 4)),
        [](const std::string& line) {
            return line.find(kPrefix) != std::string::npos && line.find("Timestamp") != std::string::npos;
        });
}

/// "40AC" of "Shimmer_40AC_Gyro_X_CAL".
std::string deviceOf(const std::string& name) {
    if (!name.starts_with(kPrefix)) return {};
    return name.substr(kPrefix.size(), name.find('_', kPrefix.size()) - kPrefix.size());
}

/// "Gyro_X" of "Shimmer_40AC_Gyro_X_CAL"; empty for raw values.
std::string quantityOf(const std::string& name) {
    const std::size_t begin = name.find('_', kPrefix.size());
    if (begin == std::string::npos || !name.ends_with(kCalibrated)) return {};
    return name.substr(begin + 1, name.size() - begin - 1 - kCalibrated.size());
}

/// The form for one device: of its two accelerometers the one of low noise is meant, if it is there.
TableForm formOfDevice(const TableForm& all, const std::string& device, bool isMapped) {
    TableForm form = formOfSensor(all, device);
    const auto has = [&](const std::string& quantity) {
        return std::ranges::any_of(
            form.columns, [&](const ColumnName& column) { return quantityOf(column.raw) == quantity; });
    };
    const std::string accelerometer = has("Accel_LN_X") ? "Accel_LN_" : "Accel_WR_";
    for (ColumnName& column : form.columns) {
        const std::string quantity = quantityOf(column.raw);
        const std::string axis = quantity.empty() ? "" : quantity.substr(quantity.size() - 1);
        const std::string unit = column.unit;
        if (quantity == accelerometer + axis) column = ColumnName(column.raw, "Accelerometer " + axis);
        if (quantity == "Gyro_" + axis) column = ColumnName(column.raw, "Gyroscope " + axis);
        if (quantity == "Mag_" + axis) column = ColumnName(column.raw, "Magnetometer " + axis);
        column.unit = unit;
    }
    if (has("Accel_LN_X") && has("Accel_WR_X") && !isMapped)
        form.decisions.emplace_back("accelerometer of low noise, not that of wide range (--map chooses)");
    return form;
}

/// The device's first column with a time, as a number or as a date.
void takeTime(TableForm& form, const std::vector<std::string>& lines) {
    const auto column = std::ranges::find_if(form.columns, [](const ColumnName& one) {
        return one.raw.starts_with(kPrefix) && one.raw.find("Timestamp") != std::string::npos;
    });
    if (column == form.columns.end()) return;
    TableForm::Time time;
    time.column = static_cast<std::size_t>(column - form.columns.begin());
    const std::vector<std::string> row = form.firstRow <= lines.size()
                                             ? splitCells(lines[form.firstRow - 1], form.separator)
                                             : std::vector<std::string>();
    const bool isDate = time.column < row.size() && secondsOfDate(row[time.column]);
    if (isDate) time.kind = TableForm::Time::Kind::kDate;
    if (!isDate && column->unit.empty()) time.unit = "ms";
    form.time = time;
    form.decisions.push_back("time from " + column->raw);
}

}  // namespace

/// What Consensys exports: "sep=" in quotes, names with the device in them, units, and a separator at the end of each row;
/// or the same with tabs.
std::optional<RecordingPlan> planShimmerCsv(const Sighting& sighting) {
    if (sighting.files().size() != 1) return std::nullopt;
    const std::string& file = sighting.files().front().name;
    const std::vector<std::string> lines = sighting.firstLines(file);
    if (!isExport(lines)) return std::nullopt;
    TableForm all = tablePlan(sighting, file).form;
    RecordingPlan plan;
    for (ColumnName& column : all.columns) {
        column.sensor = deviceOf(column.raw);
        const bool isNew =
            !column.sensor.empty() &&
            std::ranges::find(plan.sensors, column.sensor, &SensorPlan::name) == plan.sensors.end();
        if (isNew) plan.sensors.push_back({.name = column.sensor, .tables = {}, .notes = {}});
    }
    for (SensorPlan& sensor : plan.sensors) {
        TablePlan table;
        table.file = file;
        table.form = formOfDevice(all, sensor.name, !sighting.options().mapping.empty());
        takeTime(table.form, lines);
        sensor.tables.push_back(std::move(table));
    }
    if (plan.sensors.empty()) return std::nullopt;
    return plan;
}

}  // namespace Kavelin::RecordingIO
