#include <Poco/Exception.h>

#include <algorithm>

#include "io/formats/Formats.h"
#include "io/formats/SensorForms.h"
#include "io/recording/DateText.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const std::string kPrefix = "Shimmer_";
const std::string kTime = "Timestamp";
const std::string kCalibrated = "_CAL";
const std::string kRaw = "_RAW";

/// The line with the names: of a time, and of calibrated or raw values of a device.
bool isHeader(const std::string& line) {
    const bool isOfDevice = line.find(kPrefix) != std::string::npos ||
                            line.find("_X" + kCalibrated) != std::string::npos ||
                            line.find("_X" + kRaw) != std::string::npos;
    return isOfDevice && line.find(kTime) != std::string::npos;
}

bool isExport(const std::vector<std::string>& lines) {
    return std::any_of(lines.begin(),
                       lines.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(lines.size(), 4)),
                       isHeader);
}

/// What the names of each device begin with, "Shimmer_40AC_": nearly each has a time, "Shimmer_40AC_Timestamp_Unix_CAL".
std::vector<std::string> prefixesIn(const std::vector<ColumnName>& columns) {
    std::vector<std::string> prefixes;
    for (const ColumnName& column : columns) {
        const std::size_t end = column.raw.find(kTime);
        if (end == std::string::npos) continue;
        std::string prefix = column.raw.substr(0, end);
        if (std::ranges::find(prefixes, prefix) == prefixes.end()) prefixes.push_back(std::move(prefix));
    }
    if (prefixes.size() > 1) std::erase(prefixes, "");  // a time of all
    for (const ColumnName& column : columns) {
        const auto begins = [&](const std::string& prefix) { return column.raw.starts_with(prefix); };
        if (!begins(kPrefix) || std::ranges::any_of(prefixes, begins)) continue;
        prefixes.push_back(column.raw.substr(0, column.raw.find('_', kPrefix.size()) + 1));
    }
    return prefixes;
}

/// "40AC" of "Shimmer_40AC_".
std::string deviceOf(std::string prefix) {
    if (prefix.starts_with(kPrefix)) prefix.erase(0, kPrefix.size());
    if (prefix.ends_with('_')) prefix.pop_back();
    return prefix;
}

/// "Gyro_X" of "Shimmer_40AC_Gyro_X_CAL"; empty for raw values.
std::string quantityOf(const std::string& name, const std::string& prefix) {
    if (!name.starts_with(prefix) || !name.ends_with(kCalibrated)) return {};
    return name.substr(prefix.size(), name.size() - prefix.size() - kCalibrated.size());
}

/// The form for one device: of its two accelerometers the one of low noise is meant, if it is there. What else it
/// recorded keeps its name, for a mapping, but says nothing.
TableForm formOfDevice(const TableForm& all, const std::string& prefix, bool isMapped) {
    TableForm form = formOfSensor(all, deviceOf(prefix));
    const auto has = [&](const std::string& quantity) {
        return std::ranges::any_of(form.columns, [&](const ColumnName& column) {
            return quantityOf(column.raw, prefix) == quantity;
        });
    };
    const std::string accelerometer = has("Accel_LN_X") ? "Accel_LN_" : "Accel_WR_";
    bool lacksUnit = false;
    for (ColumnName& column : form.columns) {
        const std::string quantity = quantityOf(column.raw, prefix);
        const std::string axis = quantity.empty() ? "" : quantity.substr(quantity.size() - 1);
        const std::string unit = column.unit;
        if (quantity.empty() && column.raw.ends_with(kRaw))
            column = ColumnName(isMapped ? column.raw : "", "");
        else if (quantity == accelerometer + axis)
            column = ColumnName(column.raw, "Accelerometer " + axis);
        else if (quantity == "Gyro_" + axis)
            column = ColumnName(column.raw, "Gyroscope " + axis);
        else if (quantity == "Mag_" + axis)
            column = ColumnName(column.raw, "Magnetometer " + axis);
        else if (!quantity.empty() && quantity.find(kTime) == std::string::npos)
            column = ColumnName(column.raw, "");
        column.unit = unit;
        if (!unit.empty() || quantity != "Gyro_" + axis) continue;
        column.unit = "deg/s";
        lacksUnit = true;
    }
    if (lacksUnit) form.decisions.emplace_back("no units in the file, rates taken for deg/s");
    if (has("Accel_LN_X") && has("Accel_WR_X") && !isMapped)
        form.decisions.emplace_back("accelerometer of low noise, not that of wide range (--map chooses)");
    return form;
}

/// The device's first calibrated column with a time, as a number or as a date.
void takeTime(TableForm& form, const std::string& prefix, const std::vector<std::string>& lines) {
    const auto column = std::ranges::find_if(form.columns, [&](const ColumnName& one) {
        return one.raw.starts_with(prefix + kTime) && !one.raw.ends_with(kRaw);
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

/// Refuses an export without calibrated values: what raw ones mean only the device's calibration says.
void refuseRaw(const Sighting& sighting, const TableForm& all) {
    const auto endsWith = [&](const std::string& ending) {
        return std::ranges::any_of(all.columns,
                                   [&](const ColumnName& column) { return column.raw.ends_with(ending); });
    };
    if (!endsWith("_X" + kRaw) || endsWith("_X" + kCalibrated) || !sighting.options().mapping.empty()) return;
    throw Poco::DataFormatException(sighting.tree().pathOf(sighting.files().front().name) +
                                    ": it holds raw values only: export the calibrated ones (CAL), or say "
                                    "what is what with --map and --units");
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
    const std::vector<std::string> prefixes = prefixesIn(all.columns);
    for (ColumnName& column : all.columns) {
        std::size_t longest = 0;
        for (const std::string& prefix : prefixes) {
            if (!column.raw.starts_with(prefix) || prefix.size() < longest) continue;
            longest = prefix.size();
            column.sensor = deviceOf(prefix);
        }
    }
    refuseRaw(sighting, all);
    RecordingPlan plan;
    for (const std::string& prefix : prefixes) {
        TablePlan table;
        table.file = file;
        table.form = formOfDevice(all, prefix, !sighting.options().mapping.empty());
        takeTime(table.form, prefix, lines);
        plan.sensors.push_back({.name = deviceOf(prefix), .tables = {std::move(table)}, .notes = {}});
    }
    if (plan.sensors.empty()) return std::nullopt;
    return plan;
}

}  // namespace Kavelin::RecordingIO
