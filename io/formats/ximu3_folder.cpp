#include "io/formats/Formats.h"
#include "io/formats/SensorNames.h"

namespace Kavelin::RecordingIO {

/// A folder a device, in it a file a message: "Inertial.csv" with rates and accelerations, "Magnetometer.csv" and
/// "Quaternion.csv", each with the device's time stamps of its own.
std::optional<RecordingPlan> planXimu3Folder(const Sighting& sighting) {
    RecordingPlan plan;
    for (const std::string& inertial : sighting.filesCalled("Inertial.csv")) {
        const std::vector<std::string> lines = sighting.firstLines(inertial);
        if (lines.empty() || !beginsWithNames(lines.front(), {"Timestamp (us)", "Gyroscope X"})) continue;
        SensorPlan sensor{.name = folderOf(inertial), .tables = {tablePlan(sighting, inertial)}, .notes = {}};
        for (const auto& [leaf, quantity] :
             {std::pair("Magnetometer.csv", "Magnetometer"), {"Quaternion.csv", "Quat"}}) {
            for (const std::string& file : sighting.filesCalled(leaf)) {
                if (folderOf(file) != sensor.name) continue;
                TablePlan table = tablePlan(sighting, file);
                nameAxes(table.form, quantity);
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
