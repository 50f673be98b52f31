#include "cli/batch/Recordings.h"

#include <algorithm>
#include <filesystem>

#include "cli/CommandContext.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace fs = std::filesystem;

namespace {

constexpr const char* kEndings[] = {".csv.gz", ".csv", ".txt", ".sto", ".mat", ".zip"};

/// How many characters of the name are its ending.
std::size_t endingLength(const std::string& name) {
    const std::string low = RecordingIO::lowered(name);
    for (const std::string ending : kEndings)
        if (low.size() > ending.size() && low.ends_with(ending)) return ending.size();
    return 0;
}

std::string nameOf(const std::string& path) {
    std::error_code unknown;
    fs::path whole = fs::absolute(path, unknown).lexically_normal();
    if (!whole.has_filename()) whole = whole.parent_path();
    return whole.filename().string();
}

}  // namespace

bool isFolderOfRecordings(const std::string& path) {
    std::error_code unknown;
    return fs::is_directory(path, unknown);
}

std::vector<std::string> recordingsIn(const std::string& path) {
    std::error_code unknown;
    const fs::file_status status = fs::status(path, unknown);
    if (path == "-" || (fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status))) {
        throw UsageError("'" + RecordingIO::printable(path) +
                         "' can be read only once: standard input, a pipe or a device is a run of its own, "
                         "not one of several recordings, and its result a file, not a folder");
    }
    if (!isFolderOfRecordings(path)) return {path};
    std::error_code unreadable;
    std::vector<std::string> recordings;
    for (const auto& entry : fs::directory_iterator(path, unreadable)) {
        const std::string name = entry.path().filename().string();
        if (name[0] != '.' && entry.is_regular_file(unknown) && endingLength(name) > 0)
            recordings.push_back(entry.path().string());
    }
    const std::string folder = "'" + RecordingIO::printable(path) + "'";
    if (unreadable) throw UsageError("cannot read the folder " + folder + ": " + unreadable.message());
    if (recordings.empty())
        throw UsageError("no recording in the folder " + folder +
                         ": none of its files ends in .csv, .csv.gz, .txt, .sto, .mat or .zip");
    std::sort(recordings.begin(), recordings.end());
    return recordings;
}

std::string stemOf(const std::string& recording) {
    const std::string name = nameOf(recording);
    return name.substr(0, name.size() - endingLength(name));
}

}  // namespace Kavelin::Cli
