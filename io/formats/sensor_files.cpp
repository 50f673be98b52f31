#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>

#include "io/formats/Formats.h"
#include "io/formats/SensorNames.h"
#include "io/recording/ColumnMeaning.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

struct SensorFile {
    std::string file;
    std::string sensor;  ///< the words of its name besides the quantity
    std::string quantity;
};

bool isTable(const std::string& file) {
    const std::string name = lowered(file);
    return std::ranges::any_of(std::array{".csv", ".txt", ".tsv", ".dat", ".gz"},
                               [&](const char* ending) { return name.ends_with(ending); });
}

/// "Unit_2024-05-01_Gyroscope" of "Unit_2024-05-01_Gyroscope_100.000Hz_1.5.0": the rates of a unit's sensors differ.
std::string withoutRate(const std::string& stem) {
    const std::size_t unit = lowered(stem).find("hz");
    if (unit == std::string::npos || unit == 0) return stem;
    const bool isEnd = stem.find_first_not_of("0123456789._-", unit + 2) == std::string::npos;
    const std::size_t mark = stem.find_last_not_of("0123456789.", unit - 1);
    return !isEnd || mark == std::string::npos || mark + 1 == unit ? stem : stem.substr(0, mark);
}

/// What a file holds by its name; empty where the name does not say.
std::optional<SensorFile> sensorFileOf(const std::string& file) {
    if (!isTable(file)) return std::nullopt;
    const auto meaning = meaningOf(withoutRate(stemOf(file)) + " x");
    if (!meaning || meaning->pin == "quat") return std::nullopt;
    return SensorFile{.file = file, .sensor = meaning->sensor, .quantity = quantityOfPin(meaning->pin)};
}

/// Whether names of columns say what they hold.
bool isNamed(const TableForm& form) {
    return !wholePins(form).empty() || std::ranges::any_of(form.columns, [](const ColumnName& column) {
        return meaningOf(column.name).has_value();
    });
}

/// A file is a table like any other, unless its columns name only axes.
std::optional<RecordingPlan> planSingle(const Sighting& sighting, const SensorFile& file) {
    const std::vector<std::string> lines = sighting.firstLines(file.file);
    if (lines.empty()) return std::nullopt;
    try {
        TablePlan table = tablePlan(sighting, file.file);
        if (isNamed(table.form)) return std::nullopt;
        nameAxes(table.form, file.quantity);
        if (!isNamed(table.form)) return std::nullopt;
        return RecordingPlan{.format = {},
                             .sensors = {{.name = {}, .tables = {std::move(table)}, .notes = {}}}};
    } catch (const Poco::DataFormatException&) {
        return std::nullopt;  // what is wrong is said when it is read as a table
    }
}

}  // namespace

/// Files that are named after what they hold, "accelerometer.csv", "left_gyr.csv", each with a time column.
std::optional<RecordingPlan> planSensorFiles(const Sighting& sighting) {
    std::vector<SensorFile> files;
    std::set<std::string> quantities;
    for (const FileTree::Entry& entry : sighting.files()) {
        if (auto file = sensorFileOf(entry.name)) {
            quantities.insert(file->quantity);
            files.push_back(std::move(*file));
        }
    }
    if (sighting.files().size() == 1 && files.size() == 1) return planSingle(sighting, files.front());
    std::vector<std::string> names;
    for (const SensorFile& file : files) names.push_back(file.file);
    // Files in several folders are several recordings.
    if (quantities.size() < 2 || !areTogether(names)) return std::nullopt;
    const bool hasRates = quantities.contains(quantityOfPin("3g"));
    RecordingPlan plan;
    for (const SensorFile& file : files) {
        auto sensor = std::ranges::find(plan.sensors, file.sensor, &SensorPlan::name);
        if (sensor == plan.sensors.end())
            sensor =
                plan.sensors.insert(plan.sensors.end(), {.name = file.sensor, .tables = {}, .notes = {}});
        const std::string leftOut = leafOf(file.file) + " is left out: ";
        try {
            TablePlan table = tablePlan(sighting, file.file, hasRates);
            if (!isNamed(table.form)) nameAxes(table.form, file.quantity);
            // Files of whole units are recordings, not parts of one.
            if (hasPin(table.form, "3a") && hasPin(table.form, "3g")) return std::nullopt;
            if (isNamed(table.form)) {
                sensor->tables.push_back(std::move(table));
            } else {
                sensor->notes.push_back(leftOut + "it has no columns of a sensor");
            }
        } catch (const Poco::DataFormatException& refusal) {
            sensor->notes.push_back("left out: " + refusal.message());
        }
    }
    std::erase_if(plan.sensors, [](const SensorPlan& sensor) { return sensor.tables.empty(); });
    if (plan.sensors.empty()) return std::nullopt;
    return plan;
}

}  // namespace Kavelin::RecordingIO
