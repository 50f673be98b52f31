#include <algorithm>
#include <set>

#include "io/formats/Formats.h"
#include "io/formats/SensorForms.h"
#include "io/formats/SensorNames.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const std::size_t kMostMetadata = 30;  // lines above the names
const double kTicks = 1e6;             // Hz, of the app's SampleTimeFine

/// The value of "OutputRate:,60Hz"; empty where there is no such line.
std::string metadata(const std::vector<std::string>& lines, const std::string& key) {
    for (std::size_t i = 0; i < std::min(lines.size(), kMostMetadata); ++i) {
        if (!lines[i].starts_with(key + ":")) continue;
        return std::string(trimmed(lines[i].substr(std::min(key.size() + 2, lines[i].size()))));
    }
    return {};
}

/// Names in the first line, without lines about the device; no other format has this time with these quantities.
bool isLog(const std::string& line) {
    const std::vector<std::string> names = splitCells(line, ',');
    const auto has = [&names](const char* name) { return std::ranges::find(names, name) != names.end(); };
    return has("SampleTimeFine") &&
           (has("Euler_X") || has("FreeAcc_X") || has("dq_W") || (has("Quat_W") && has("Acc_X")));
}

bool isExport(const std::vector<std::string>& lines) {
    for (std::size_t i = 0; i < std::min(lines.size(), kMostMetadata); ++i) {
        const std::string& line = lines[i];
        if (line.starts_with("//")) return false;
        if (i == 0 && isLog(line)) return true;
        if (line.starts_with("PacketCounter,SampleTimeFine,")) return !metadata(lines, "OutputRate").empty();
    }
    return false;
}

/// "LFemur" of "LFemur_20210820_202113_831.csv"; where the name is all date, the tag of the device.
std::string sensorName(const std::string& file, const std::vector<std::string>& lines) {
    std::string stem = stemOf(file);
    for (std::size_t mark = stem.rfind('_'); mark != std::string::npos; mark = stem.rfind('_')) {
        if (stem.find_first_not_of("0123456789", mark + 1) != std::string::npos) break;
        stem.resize(mark);
    }
    const bool isDate = stem.find_first_not_of("0123456789_") == std::string::npos;
    return isDate ? metadata(lines, "DeviceTag") : stem;
}

void nameColumns(TableForm& form) {
    std::vector<std::size_t> angles;
    bool hasQuaternion = false;
    for (std::size_t i = 0; i < form.columns.size(); ++i) {
        ColumnName& column = form.columns[i];
        for (const auto& [name, unit] : {std::pair("Acc_", "m/s^2"), {"Gyr_", "deg/s"}, {"Mag_", "a.u."}}) {
            if (column.raw.starts_with(name) && column.unit.empty()) column.unit = unit;
        }
        hasQuaternion = hasQuaternion || column.raw.starts_with("Quat_");
        if (column.raw.starts_with("Euler_")) angles.push_back(i);
    }
    if (!hasQuaternion && angles.size() == 3)
        form.attitude = {TableForm::Attitude::Kind::kEuler, angles, "deg"};
}

SensorPlan sensorOf(const Sighting& sighting, const std::string& file,
                    const std::vector<std::string>& lines) {
    SensorPlan sensor{.name = sensorName(file, lines), .tables = {tablePlan(sighting, file)}, .notes = {}};
    TableForm& form = sensor.tables.front().form;
    nameColumns(form);
    // The app counts microseconds; with the rate, what is missing can be counted.
    if (form.time && form.time->rate == kTicks && form.rate > 0.0) form.time->step = kTicks / form.rate;
    const bool hasRates = std::ranges::any_of(
        form.columns, [](const ColumnName& column) { return column.raw.starts_with("Gyr_"); });
    if (!hasRates) {
        const std::string mode = metadata(lines, "Measurement Mode");
        sensor.notes.push_back((mode.empty() ? "these columns hold" : "the mode '" + mode + "' records") +
                               " no rates and no accelerations with gravity: it can be a --reference; to "
                               "fuse it, choose the mode "
                               "'Rate quantities (with mag)' in the app before recording");
    }
    return sensor;
}

}  // namespace

/// What the app exports: lines about the device, then packets with a clock of microseconds in 32 bits; or the log of a
/// server, with the names in the first line.
std::optional<RecordingPlan> planMovellaDotCsv(const Sighting& sighting) {
    RecordingPlan plan;
    std::set<std::string> names;
    bool isSynced = true;
    const bool isSingle = sighting.files().size() == 1;
    for (const FileTree::Entry& file : sighting.files()) {
        if (!isSingle && !lowered(file.name).ends_with(".csv")) continue;
        const std::vector<std::string> lines = sighting.firstLines(file.name);
        if (!isExport(lines)) return std::nullopt;
        plan.sensors.push_back(sensorOf(sighting, file.name, lines));
        isSynced = isSynced && metadata(lines, "SyncStatus") == "Synced";
        // Two of one sensor are two recordings.
        if (!names.insert(plan.sensors.back().name).second) return std::nullopt;
    }
    if (plan.sensors.empty()) return std::nullopt;
    if (plan.sensors.size() > 1 && isSynced) shareOrigin(sighting, plan.sensors);
    if (plan.sensors.size() > 1 && !isSynced) {
        for (SensorPlan& sensor : plan.sensors)
            sensor.notes.emplace_back(
                "the sensors were not synchronised: the times of each begin at its own first row");
    }
    return plan;
}

}  // namespace Kavelin::RecordingIO
