#include "cli/batch/BatchPlan.h"

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

void nameResults(std::vector<BatchItem>& items, const std::string& ending) {
    std::map<std::string, int> uses;
    for (const BatchItem& item : items) ++uses[stemOf(item.recording)];
    std::map<std::string, std::string> owners;
    for (BatchItem& item : items) {
        const std::string stem = stemOf(item.recording);
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
                                 const std::string& ending) {
    std::vector<BatchItem> items;
    std::set<fs::path> seen;
    for (const std::string& path : recordings) {
        for (std::string& recording : recordingsIn(path))
            if (seen.insert(real(recording)).second) items.push_back({std::move(recording), {}});
    }
    nameResults(items, ending);
    requireOwnFiles(items, folder);
    return items;
}

}  // namespace Kavelin::Cli
