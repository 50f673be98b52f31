#include <map>

#include "io/formats/Formats.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

/// "X Axis (a.u.)" or "W" in the file of a message: "Magnetometer X (a.u.)".
void nameColumns(TablePlan& table, const std::string& quantity) {
    for (ColumnName& column : table.form.columns) {
        const std::string name = lowered(column.name);
        const bool isAxis = name.size() == 1 || name.ends_with(" axis") || name.ends_with(" element");
        if (!isAxis) continue;
        const std::string unit = column.unit == "a.u." || column.unit.empty() ? "" : " (" + column.unit + ")";
        column = ColumnName(column.raw, quantity + " " + name.substr(0, 1) + unit);
    }
}

}  // namespace

/// A folder a device, in it a file a message: "Inertial.csv" with rates and accelerations, "Magnetometer.csv" and
/// "Quaternion.csv", each with the device's time stamps of its own.
std::optional<RecordingPlan> planXimu3Folder(const Sighting& sighting) {
    RecordingPlan plan;
    for (const std::string& inertial : sighting.filesCalled("Inertial.csv")) {
        const std::vector<std::string> lines = sighting.firstLines(inertial);
        if (lines.empty() || !lines.front().starts_with("Timestamp (us),Gyroscope X")) continue;
        SensorPlan sensor{.name = folderOf(inertial), .tables = {tablePlan(sighting, inertial)}, .notes = {}};
        for (const auto& [leaf, quantity] :
             {std::pair("Magnetometer.csv", "Magnetometer"), {"Quaternion.csv", "Quat"}}) {
            for (const std::string& file : sighting.filesCalled(leaf)) {
                if (folderOf(file) != sensor.name) continue;
                TablePlan table = tablePlan(sighting, file);
                nameColumns(table, quantity);
                table.form.earth = TableForm::Earth::kNorthWestUp;
                sensor.tables.push_back(std::move(table));
            }
        }
        plan.sensors.push_back(std::move(sensor));
    }
    if (plan.sensors.empty()) return std::nullopt;
    return plan;
}

}  // namespace Kavelin::RecordingIO
