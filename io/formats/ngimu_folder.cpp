#include "io/formats/Formats.h"
#include "io/formats/SensorNames.h"

namespace Kavelin::RecordingIO {

/// A folder with "sensors.csv" (all three sensors), "quaternion.csv" (the unit's own, at times of its own) and "Device.xml"
/// or "Settings.txt".
std::optional<RecordingPlan> planNgimuFolder(const Sighting& sighting) {
    RecordingPlan plan;
    for (const std::string& sensors : sighting.filesCalled("sensors.csv")) {
        const std::vector<std::string> lines = sighting.firstLines(sensors);
        if (lines.empty() || !beginsWithNames(lines.front(), {"Time (s)", "Gyroscope X (deg/s)"})) continue;
        SensorPlan sensor{.name = folderOf(sensors), .tables = {tablePlan(sighting, sensors)}, .notes = {}};
        for (const std::string& own : sighting.filesCalled("quaternion.csv")) {
            if (folderOf(own) != sensor.name) continue;
            TablePlan table = tablePlan(sighting, own);
            for (ColumnName& column : table.form.columns) {
                if (column.raw.size() == 1) column = ColumnName(column.raw, "q" + column.raw);
            }
            table.form.earth = TableForm::Earth::kNorthWestUp;
            sensor.tables.push_back(std::move(table));
        }
        plan.sensors.push_back(std::move(sensor));
    }
    if (plan.sensors.empty()) return std::nullopt;
    return plan;
}

}  // namespace Kavelin::RecordingIO
