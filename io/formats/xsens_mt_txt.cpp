#include <Poco/Exception.h>

#include <algorithm>
#include <set>

#include "io/formats/Formats.h"
#include "io/formats/SensorForms.h"
#include "io/formats/SensorNames.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const std::size_t kIdLength = 8;

/// Comments about the device, then names that begin with the counter of packets and go on with those of the units.
bool isExport(const std::vector<std::string>& lines) {
    const auto names = std::ranges::find_if(
        lines, [](const std::string& line) { return !line.empty() && !line.starts_with("//"); });
    if (names == lines.begin() || names == lines.end()) return false;
    const std::size_t length = names->find_first_of("\t,; ");
    const std::string first = names->substr(0, length);
    const bool isOfUnit = std::ranges::any_of(
        std::vector<std::string>{"SampleTimeFine", "Acc_X", "Gyr_X", "Mag_X", "Mat[1][1]", "Quat_q0", "Roll"},
        [&](const std::string& name) { return names->find(name) != std::string::npos; });
    return length != std::string::npos && (first == "PacketCounter" || first == "Counter") && isOfUnit;
}

/// "00B421ED" of "MT_012005D6-000_00B421ED.txt"; empty where the name does not end so.
std::string deviceOf(const std::string& file) {
    const std::string stem = stemOf(file);
    if (stem.size() <= kIdLength || stem[stem.size() - kIdLength - 1] != '_') return {};
    const std::string id = stem.substr(stem.size() - kIdLength);
    return id.find_first_not_of("0123456789ABCDEF") == std::string::npos ? id : std::string();
}

/// The single file, or those of one recording: their names differ only in the device at the end.
std::vector<std::string> filesOfRecording(const Sighting& sighting) {
    if (sighting.files().size() == 1) return {sighting.files().front().name};
    std::vector<std::string> files;
    std::set<std::string> recordings;
    for (const std::string& file : sighting.filesEndingWith(".txt")) {
        const std::string device = deviceOf(file);
        if (device.empty()) continue;
        files.push_back(file);
        recordings.insert(file.substr(0, file.size() - device.size() - 4));
    }
    return recordings.size() == 1 ? files : std::vector<std::string>();
}

void nameUnits(TableForm& form) {
    for (ColumnName& column : form.columns) {
        for (const auto& [name, unit] : {std::pair("Acc_", "m/s^2"), {"Gyr_", "rad/s"}, {"Mag_", "a.u."}}) {
            if (column.raw.starts_with(name) && column.unit.empty()) column.unit = unit;
        }
    }
}

std::vector<std::size_t> columnsCalled(const TableForm& form, const std::vector<std::string>& names) {
    std::vector<std::size_t> found;
    for (const std::string& name : names) {
        const auto column = std::ranges::find(form.columns, name, &ColumnName::raw);
        if (column != form.columns.end())
            found.push_back(static_cast<std::size_t>(column - form.columns.begin()));
    }
    return found.size() == names.size() ? found : std::vector<std::size_t>();
}

/// The file has the matrix column by column; its angles are those of intrinsic turns about z, y and x.
void takeOrientation(TableForm& form) {
    std::vector<std::string> elements;
    for (const char row : {'1', '2', '3'}) {
        for (const char column : {'1', '2', '3'})
            elements.push_back(std::string("Mat[") + row + "][" + column + "]");
    }
    const std::vector<std::size_t> matrix = columnsCalled(form, elements);
    const std::vector<std::size_t> angles = columnsCalled(form, {"Roll", "Pitch", "Yaw"});
    if (!columnsCalled(form, {"Quat_q0", "Quat_q1", "Quat_q2", "Quat_q3"}).empty()) return;
    if (!matrix.empty()) {
        form.attitude = {TableForm::Attitude::Kind::kMatrix, matrix, {}};
    } else if (!angles.empty()) {
        form.attitude = {TableForm::Attitude::Kind::kEuler, angles, "deg"};
    }
}

/// "// Coordinate system: NED"
bool saysNorthEastDown(const std::vector<std::string>& lines) {
    return std::ranges::any_of(lines, [](const std::string& line) {
        const std::string text = lowered(line);
        return text.starts_with("//") && text.find("coordinate system") != std::string::npos &&
               trimmed(text).ends_with("ned");
    });
}

SensorPlan sensorOf(const Sighting& sighting, const std::string& file) {
    SensorPlan sensor{.name = deviceOf(file), .tables = {tablePlan(sighting, file)}, .notes = {}};
    TableForm& form = sensor.tables.front().form;
    nameUnits(form);
    takeOrientation(form);
    const auto measures = [&](const std::string& name) {
        return std::ranges::any_of(form.columns,
                                   [&](const ColumnName& column) { return column.raw.starts_with(name); });
    };
    // Where the comments say East-North-Up, x points to magnetic north in the known files.
    const bool isDown = saysNorthEastDown(sighting.firstLines(file));
    form.earth = isDown ? TableForm::Earth::kNorthEastDown : TableForm::Earth::kNorthWestUp;
    if (form.attitude || measures("Quat_"))
        form.decisions.emplace_back(isDown ? "orientations from North-East-Down"
                                           : "orientations from North-West-Up");
    const bool hasNothingElse = !form.attitude && !measures("Quat_") && sighting.options().mapping.empty();
    if (!measures("Acc_") && !measures("Gyr_") && hasNothingElse &&
        (measures("OriInc_") || measures("VelInc_")))
        throw Poco::DataFormatException(
            sighting.tree().pathOf(file) +
            ": it holds increments of orientation and velocity only, which no filter takes: "
            "export Acc and Gyr (inertial data, calibrated)");
    if (!measures("Acc_") && !measures("Gyr_")) {
        sensor.notes.emplace_back(
            "it holds orientations only, neither accelerations nor rates: it can be a --reference; to fuse "
            "it, "
            "export the inertial data (calibrated) as well");
    }
    return sensor;
}

}  // namespace

/// Text exported from inertial units: comments, then a table of packets with a counter of 16 bits. Before 2019 the
/// comments tell the rate; since then they do not.
std::optional<RecordingPlan> planXsensMtTxt(const Sighting& sighting) {
    RecordingPlan plan;
    for (const std::string& file : filesOfRecording(sighting)) {
        if (!isExport(sighting.firstLines(file))) return std::nullopt;
        plan.sensors.push_back(sensorOf(sighting, file));
    }
    if (plan.sensors.empty()) return std::nullopt;
    if (plan.sensors.size() > 1) shareOrigin(sighting, plan.sensors);
    return plan;
}

}  // namespace Kavelin::RecordingIO
