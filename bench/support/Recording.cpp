#include "bench/support/Recording.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>

#include "io/recording/RecordingReader.h"

namespace Kavelin::Bench {

namespace fs = std::filesystem;

namespace {

std::optional<std::size_t> channelOf(const RecordingIO::Schema& schema, std::string_view pin) {
    for (std::size_t i = 0; i < schema.channels.size(); ++i) {
        if (schema.channels[i].pin == pin) return i;
    }
    return std::nullopt;
}

// A sensor's value in this row; not a number where the row has none.
Eigen::Vector3d sensorValue(const RecordingIO::RecordingReader& reader, std::optional<std::size_t> channel) {
    if (channel && reader.row().has(*channel)) return Eigen::Vector3d::Map(reader.row().values(*channel));
    return Eigen::Vector3d::Constant(std::numeric_limits<double>::quiet_NaN());
}

// Adds what one file holds: samples, truth, or both.
void addFile(Recording& recording, const fs::path& file) {
    auto reader = RecordingIO::RecordingReader::open(file.string(), {});
    const auto acc = channelOf(reader.schema(), "3a");
    const auto rate = channelOf(reader.schema(), "3g");
    const auto field = channelOf(reader.schema(), "3m");
    const auto truth = channelOf(reader.schema(), "quat");
    using Next = RecordingIO::RecordingReader::Next;
    for (Next next = reader.next(); next != Next::kEnd; next = reader.next()) {
        if (next == Next::kFault) throw std::runtime_error(reader.message());
        const double t = reader.row().time();
        if (acc && rate) {
            recording.samples.push_back(
                {t, sensorValue(reader, acc), sensorValue(reader, rate), sensorValue(reader, field)});
        }
        if (truth && reader.row().has(*truth)) {
            const double* q = reader.row().values(*truth);
            recording.truth.push_back({t, Eigen::Quaterniond(q[0], q[1], q[2], q[3]).normalized()});
        }
    }
}

}  // namespace

Recording loadRecording(const fs::path& folder) {
    Recording recording;
    recording.name = folder.filename().string();
    recording.headingKnown = fs::exists(folder / "recording.csv");
    if (recording.headingKnown) {
        addFile(recording, folder / "recording.csv");
    } else {
        addFile(recording, folder / "imu.csv");
        addFile(recording, folder / "reference.csv");
    }
    const fs::path movement = folder / "movement.csv";
    if (fs::exists(movement)) recording.movement = RecordingIO::Intervals::open(movement.string());
    return recording;
}

std::vector<fs::path> findRecordings(const fs::path& root) {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(root)) {
        if (fs::exists(entry.path() / "movement.csv") || fs::exists(entry.path() / "reference.csv")) {
            found.push_back(entry.path());
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace Kavelin::Bench
