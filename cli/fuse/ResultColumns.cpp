#include "cli/fuse/ResultColumns.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "io/files/LiveAddress.h"
#include "io/recording/TableWriter.h"

namespace Kavelin::Cli {

using RecordingIO::TableKind;

namespace {

/// A name for the one sensor of a recording: that of its file, without endings.
std::string sensorName(const std::string& recording) {
    std::string name = std::filesystem::path(recording).filename().string();
    name.erase(std::min(name.size(), name.find('.', 1)));
    const auto isOdd = [](char c) {
        return static_cast<unsigned char>(c) < 0x80 && std::isalnum(static_cast<unsigned char>(c)) == 0 &&
               c != '-' && c != '_';
    };
    std::replace_if(name.begin(), name.end(), isOdd, '_');
    return recording == "-" || RecordingIO::isLiveAddress(recording) || name.empty() ? "imu" : name;
}

std::string entry(const std::string& pin, const std::vector<std::string>& names) {
    return fmt::format("{} = {}", pin, fmt::join(names, ", "));
}

}  // namespace

std::string rowPin(TableKind kind, AttitudeForm form) {
    if (kind == TableKind::kCsv || kind == TableKind::kNpy) return "attitude";
    const char* names[] = {"quaternion", "rotation", "euler"};
    return names[static_cast<int>(form)];
}

std::string headerForOpenSim(const std::string& rowPin, const std::string& recording) {
    return entry(rowPin, {sensorName(recording)});
}

std::string headerOf(const std::string& rowPin, AttitudeForm form,
                     const std::vector<ResultWatch::Extra>& extras) {
    std::vector<std::string> columns = {"qw", "qx", "qy", "qz"};
    if (form == AttitudeForm::kMatrix) columns = RecordingIO::columnNames("attitude", 3, 3);
    if (form == AttitudeForm::kEuler) columns = {"yaw_zyx (deg)", "pitch_zyx (deg)", "roll_zyx (deg)"};
    std::string text = entry(rowPin, columns);
    for (const ResultWatch::Extra& extra : extras) {
        const bool isScore = extra.name == "Score";
        text +=
            "; " + entry(extra.name, RecordingIO::columnNames(extra.name, isScore ? 5 : 1, isScore ? 2 : 1));
    }
    return text;
}

}  // namespace Kavelin::Cli
