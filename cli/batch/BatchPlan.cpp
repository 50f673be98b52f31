#include "cli/batch/BatchPlan.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include "cli/CommandContext.h"
#include "cli/batch/Recordings.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace fs = std::filesystem;
using RecordingIO::printable;

namespace {

fs::path real(const fs::path& path) {
    std::error_code unknown;
    const fs::path whole = fs::weakly_canonical(fs::absolute(path, unknown), unknown);
    return unknown ? path : whole;
}

std::string told(const std::string& path) { return "'" + printable(path) + "'"; }

/// "walk", or "walk_left_foot" of one of its sensors.
std::string resultStem(const BatchItem& item) {
    std::string stem = stemOf(item.recording);
    if (item.sensor.empty()) return stem;
    std::string sensor = item.sensor;
    const auto isOdd = [](char c) {
        return c == '/' || (static_cast<unsigned char>(c) <= 0x20) || c == '\\';
    };
    std::replace_if(sensor.begin(), sensor.end(), isOdd, '_');
    return stem + "_" + sensor;
}

void nameResults(std::vector<BatchItem>& items, const std::string& ending) {
    std::map<std::string, int> uses;
    for (const BatchItem& item : items) ++uses[resultStem(item)];
    std::map<std::string, std::string> owners;
    for (BatchItem& item : items) {
        const std::string stem = resultStem(item);
        const std::string folder = real(item.recording).parent_path().filename().string();
        item.result = (uses[stem] > 1 && !folder.empty() ? folder + "/" : "") + stem + ending;
        const auto [owner, isNew] = owners.emplace(item.result, item.recording);
        if (!isNew)
            throw UsageError(
                told(owner->second) + " and " + told(item.recording) + " would both be written to " +
                told(item.result) +
                "; name them or their folders differently, or give each run a folder of its own");
    }
}

void requireOwnFiles(const std::vector<BatchItem>& items, const std::string& folder) {
    std::set<fs::path> read;
    for (const BatchItem& item : items) read.insert(real(item.recording));
    for (const BatchItem& item : items) {
        if (item.result == kTableName)
            throw UsageError("the result of " + told(item.recording) + " would have the name of the table, " +
                             kTableName + "; rename the recording");
        if (read.contains(real(fs::path(folder) / item.result)))
            throw UsageError("-o " + told(folder) + ": the result of " + told(item.recording) +
                             " would replace a recording; name another folder");
    }
}

}  // namespace

void requireApart(const std::string& option, const std::string& file, const std::vector<BatchItem>& items,
                  const std::string& folder) {
    const fs::path own = real(file);
    const auto refuseIf = [&](const fs::path& other, const char* what) {
        if (own == real(other))
            throw UsageError(option + " " + told(file) + " is " + what + "; name another file");
    };
    refuseIf(fs::path(folder) / kTableName, "the table of all");
    for (const BatchItem& item : items) {
        refuseIf(item.recording, "a recording");
        refuseIf(fs::path(folder) / item.result, "a result");
    }
}

std::vector<BatchItem> planBatch(const std::vector<std::string>& recordings, const std::string& folder,
                                 const std::string& ending, const SensorNames& sensorNames) {
    std::vector<BatchItem> items;
    std::set<fs::path> seen;
    for (const std::string& path : recordings) {
        for (const std::string& recording : recordingsIn(path)) {
            if (!seen.insert(real(recording)).second) continue;
            const std::vector<std::string> sensors = sensorNames(recording);
            for (const std::string& sensor : sensors) items.push_back({recording, sensor, {}});
            if (sensors.empty()) items.push_back({recording, {}, {}});
        }
    }
    nameResults(items, ending);
    requireOwnFiles(items, folder);
    return items;
}

}  // namespace Kavelin::Cli
