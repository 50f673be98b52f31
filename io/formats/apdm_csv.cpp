#include <algorithm>
#include <map>

#include "io/formats/Formats.h"
#include "io/formats/SensorForms.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const std::size_t kMostMetadata = 60;  // lines above the names

/// What a quantity is called in a file, what it is, and its unit where the file has none.
struct Quantity {
    const char* written;
    const char* meaning;
    const char* unit;
};
constexpr Quantity kQuantities[] = {{"Acceleration", "Accelerometer", "m/s^2"},
                                    {"Accelerometer", "Accelerometer", "m/s^2"},
                                    {"Angular Velocity", "Gyroscope", "rad/s"},
                                    {"Gyroscope", "Gyroscope", "rad/s"},
                                    {"Magnetic Field", "Magnetometer", "uT"},
                                    {"Magnetometer", "Magnetometer", "uT"},
                                    {"Orientation", "Quat", ""}};

/// A column of a quantity's axis, of a sensor; empty axes and other quantities stay as they are.
ColumnName columnOf(const std::string& sensor, const std::string& quantity, const std::string& axis,
                    const std::string& unit) {
    const std::string raw = sensor + "/" + quantity + (axis.empty() ? "" : "/" + axis);
    const auto known = std::ranges::find(kQuantities, quantity, &Quantity::written);
    const bool isMeant = known != std::end(kQuantities) && !axis.empty();
    const std::string letter = axis == "S" || axis == "Scalar" ? "W" : axis;
    ColumnName column(raw, isMeant ? std::string(known->meaning) + " " + letter : raw);
    column.unit = unit.empty() && isMeant ? known->unit : unit;
    column.sensor = sensor;
    return column;
}

std::vector<std::string> filledForward(std::vector<std::string> cells, std::size_t size) {
    cells.resize(size);
    for (std::size_t i = 1; i < size; ++i) {
        if (cells[i].empty()) cells[i] = cells[i - 1];
    }
    return cells;
}

/// "Format=7,5718,,,Lumbar,...": each sensor's block begins with its number, which its place follows.
std::vector<std::string> sensorsOfBlocks(const std::vector<std::string>& cells, std::size_t size) {
    std::vector<std::string> sensors(size);
    std::size_t begin = size;
    for (std::size_t i = 1; i < std::min(size, cells.size()); ++i) {
        if (cells[i].empty()) continue;
        const bool isNumber = cells[i].find_first_not_of("0123456789") == std::string::npos;
        if (isNumber) begin = i;
        for (std::size_t j = std::min(begin, i); j < size; ++j) sensors[j] = cells[i];
    }
    return sensors;
}

/// Three lines of names: devices, quantities, axes; no units.
std::optional<TableForm> formOfBlocks(const std::vector<std::string>& lines) {
    if (lines.size() < 4 || !lines[0].starts_with("Format=") || !lines[1].starts_with("Time,"))
        return std::nullopt;
    const std::vector<std::string> axes = splitCells(lines[2], ',');
    const std::vector<std::string> quantities = filledForward(splitCells(lines[1], ','), axes.size());
    const std::vector<std::string> sensors = sensorsOfBlocks(splitCells(lines[0], ','), axes.size());
    TableForm form;
    form.columns.emplace_back("Time (us)");
    for (std::size_t i = 1; i < axes.size(); ++i)
        form.columns.push_back(columnOf(sensors[i], quantities[i], axes[i], ""));
    form.headerLine = 3;
    form.firstRow = 4;
    form.time = TableForm::Time{.column = 0, .unit = {}};
    form.decisions = {"time in us since 1970", "accelerations in m/s^2, rates in rad/s, the field in uT"};
    return form;
}

/// "Lumbar/Acceleration/X": the parts of a name.
std::vector<std::string> partsOf(const std::string& name) { return splitCells(name, '/'); }

bool isPath(const ColumnName& column) {
    const std::vector<std::string> parts = partsOf(column.raw);
    return parts.size() == 3 &&
           std::ranges::find(kQuantities, parts[1], &Quantity::written) != std::end(kQuantities);
}

/// Lines about the test, names with the sensor in front, units.
std::optional<TableForm> formOfPaths(const Sighting& sighting, const std::string& file,
                                     const std::vector<std::string>& lines) {
    const auto begin = lines.begin();
    const auto end = begin + static_cast<std::ptrdiff_t>(std::min(lines.size(), kMostMetadata));
    const bool hasPaths = std::any_of(begin, end, [](const std::string& line) {
        return line.find("/Acceleration/X") != std::string::npos;
    });
    if (!hasPaths) return std::nullopt;
    TableForm form = tablePlan(sighting, file).form;
    if (std::ranges::none_of(form.columns, isPath)) return std::nullopt;
    for (ColumnName& column : form.columns) {
        if (!isPath(column)) continue;
        const std::vector<std::string> parts = partsOf(column.raw);
        column = columnOf(parts[0], parts[1], parts[2], column.unit);
    }
    return form;
}

}  // namespace

/// A table of all sensors: with three lines of names and no units, or with lines about the test and units.
std::optional<RecordingPlan> planApdmCsv(const Sighting& sighting) {
    if (sighting.files().size() != 1) return std::nullopt;
    const std::string& file = sighting.files().front().name;
    const std::vector<std::string> lines = sighting.firstLines(file);
    std::optional<TableForm> form = formOfBlocks(lines);
    if (!form) form = formOfPaths(sighting, file, lines);
    if (!form) return std::nullopt;
    form->earth = TableForm::Earth::kNorthWestUp;  // x points to magnetic north
    RecordingPlan plan;
    for (const ColumnName& column : form->columns) {
        const bool isNew =
            !column.sensor.empty() &&
            std::ranges::find(plan.sensors, column.sensor, &SensorPlan::name) == plan.sensors.end();
        if (!isNew) continue;
        TablePlan table;
        table.file = file;
        table.form = formOfSensor(*form, column.sensor);
        plan.sensors.push_back({.name = column.sensor, .tables = {std::move(table)}, .notes = {}});
    }
    return plan;
}

}  // namespace Kavelin::RecordingIO
