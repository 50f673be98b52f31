#include <Poco/Exception.h>

#include "io/formats/Formats.h"
#include "io/formats/SensorNames.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const char* const kWithoutGravity =
    " holds an acceleration without gravity, and no orientation can be told from it; record the sensor "
    "\"Accelerometer\", or the experiment \"Acceleration (with g)\"";

/// All names are in quotes, and the first is the time's.
bool isHeader(const std::string& line) { return line.starts_with("\"Time (s)\""); }

/// What the columns "X (rad/s)" of a file are, by its name.
std::string quantityOf(const std::string& file) {
    const std::string stem = lowered(stemOf(file));
    if (stem.find("linear") != std::string::npos || stem.find("without g") != std::string::npos)
        return "Linear acceleration";
    if (stem.find("acceler") != std::string::npos) return "Accelerometer";
    if (stem.find("gyro") != std::string::npos) return "Gyroscope";
    if (stem.find("magnet") != std::string::npos) return "Magnetometer";
    return {};
}

}  // namespace

/// A file a sensor, each with its own time stamps from one start, or "Raw Data.csv"; "meta" has files about the device.
std::optional<RecordingPlan> planPhyphox(const Sighting& sighting) {
    std::vector<std::string> files;
    for (const FileTree::Entry& entry : sighting.files()) {
        if (leafOf(folderOf(entry.name)) == "meta") continue;
        if (isHeader(sighting.firstLine(entry.name))) files.push_back(entry.name);
    }
    if (files.empty() || !areTogether(files)) return std::nullopt;
    SensorPlan sensor;
    std::vector<std::string> gravityFree;
    bool hasAcceleration = false;
    for (const std::string& file : files) {
        TablePlan table = tablePlan(sighting, file);
        if (const std::string quantity = quantityOf(file); !quantity.empty()) nameAxes(table.form, quantity);
        if (hasLinearAcceleration(table.form)) gravityFree.push_back(leafOf(file));
        const std::string mapped = mappingFor(table.form.columns, sighting.options().mapping);
        if (wholePins(table.form).empty() && mapped.empty()) continue;
        hasAcceleration = hasAcceleration || hasPin(table.form, "3a");
        sensor.tables.push_back(std::move(table));
    }
    const std::string why = listed(gravityFree) + kWithoutGravity;
    if (sensor.tables.empty() && gravityFree.empty()) {
        if (sighting.filesCalled("device.csv").empty()) return std::nullopt;
        throw Poco::DataFormatException(
            sighting.tree().pathOf("") + ": " + listed(files) +
            " have no columns of known names, such as \"Gyroscope x (rad/s)\": say with "
            "--map (fuse) or the property Mapping what theirs are");
    }
    if (sensor.tables.empty()) throw Poco::DataFormatException(sighting.tree().pathOf("") + ": " + why);
    if (!hasAcceleration && !gravityFree.empty()) sensor.notes.push_back(why);
    return RecordingPlan{.format = {}, .sensors = {std::move(sensor)}};
}

}  // namespace Kavelin::RecordingIO
