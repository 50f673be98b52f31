#include <fmt/format.h>

#include "io/formats/Formats.h"

namespace Kavelin::RecordingIO {

namespace {

bool isInertial(const std::vector<std::string>& lines) {
    return !lines.empty() && lines.front().starts_with("Packet number,Gyroscope X (deg/s)");
}

}  // namespace

/// "NAME_CalInertialAndMag.csv" of the first x-IMU, alone or among the other files of its recording.
std::optional<RecordingPlan> planXimu1Csv(const Sighting& sighting) {
    const bool isSingle = sighting.files().size() == 1;
    const std::vector<std::string> files = isSingle ? std::vector<std::string>{sighting.files().front().name}
                                                    : sighting.filesEndingWith("_CalInertialAndMag.csv");
    if (files.size() != 1 || !isInertial(sighting.firstLines(files.front()))) return std::nullopt;
    SensorPlan sensor{.name = {}, .tables = {tablePlan(sighting, files.front())}, .notes = {}};
    TableForm& form = sensor.tables.front().form;
    form.time.reset();
    form.decisions.clear();
    form.whyNoTime =
        "The packet numbers are counted over messages of all kinds, so they are no time (256 Hz fits the "
        "known "
        "recordings of these units; the unit's registers tell)";
    if (const double rate = sighting.options().rate; rate > 0.0)
        form.decisions.push_back(fmt::format("time from the rows at {:g} Hz", rate));
    if (!sighting.filesEndingWith("_Quaternion.csv").empty())
        sensor.notes.emplace_back("the unit's quaternions are not read: their file has no time either");
    return RecordingPlan{.format = {}, .sensors = {std::move(sensor)}};
}

}  // namespace Kavelin::RecordingIO
