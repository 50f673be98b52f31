#include "cli/batch/Recordings.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <filesystem>

#include "cli/CommandContext.h"
#include "io/files/FileTree.h"
#include "io/files/LiveAddress.h"
#include "io/formats/OpenRecording.h"
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

/// How many files there are in a folder and its folders; no more than `most` are counted.
std::size_t countFiles(const fs::path& folder, std::size_t most) {
    std::error_code unknown;
    std::size_t count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder, unknown))
        if (entry.is_regular_file(unknown) && ++count == most) break;
    return count;
}

bool isHidden(const fs::directory_entry& entry) { return entry.path().filename().string().starts_with('.'); }

bool isNamedAsRecording(const fs::directory_entry& entry) {
    std::error_code unknown;
    return !isHidden(entry) && entry.is_regular_file(unknown) &&
           endingLength(entry.path().filename().string()) > 0;
}

/// Whether a format knows the files in a folder as those of a recording.
bool isKnown(const fs::path& folder) {
    const std::size_t files = countFiles(folder, RecordingIO::FileTree::kMostFiles + 1);
    if (files < 2 || files > RecordingIO::FileTree::kMostFiles) return false;
    try {
        return RecordingIO::isRecording(folder.string());
    } catch (const Poco::Exception&) {
        return true;  // it does, but the recording is not a good one: its run says why
    }
}

/// Whether a folder is where a format keeps the files of one recording. Formats with a folder for each sensor would also
/// take recordings in folders next to others for one.
bool isOneRecording(const fs::path& folder) {
    if (!isKnown(folder)) return false;
    bool hasFile = false, hasFolder = false;
    std::error_code unknown;
    for (const auto& entry : fs::directory_iterator(folder, unknown)) {
        hasFile = hasFile || isNamedAsRecording(entry);
        hasFolder = hasFolder || (!isHidden(entry) && entry.is_directory(unknown) && isKnown(entry.path()));
    }
    return !(hasFile && hasFolder);
}

}  // namespace

bool isFolder(const std::string& path) {
    std::error_code unknown;
    return fs::is_directory(path, unknown);
}

bool isFolderOfRecordings(const std::string& path) { return isFolder(path) && !isOneRecording(path); }

std::vector<std::string> recordingsIn(const std::string& path) {
    std::error_code unknown;
    const fs::file_status status = fs::status(path, unknown);
    if (path == "-" || RecordingIO::isLiveAddress(path) ||
        (fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status))) {
        throw UsageError(
            "'" + RecordingIO::printable(path) +
            "' can be read only once: standard input, a pipe, an address or a device is a run of its own, "
            "not one of several recordings, and its result a file, not a folder");
    }
    if (!isFolderOfRecordings(path)) return {path};
    std::error_code unreadable;
    std::vector<std::string> recordings;
    for (const auto& entry : fs::directory_iterator(path, unreadable)) {
        const bool isRecording = entry.is_directory(unknown)
                                     ? !isHidden(entry) && isOneRecording(entry.path())
                                     : isNamedAsRecording(entry);
        if (isRecording) recordings.push_back(entry.path().string());
    }
    const std::string folder = "'" + RecordingIO::printable(path) + "'";
    if (unreadable) throw UsageError("cannot read the folder " + folder + ": " + unreadable.message());
    if (recordings.empty())
        throw UsageError("no recording in the folder " + folder +
                         ": none of its files ends in .csv, .csv.gz, .txt, .sto, .mat or .zip, and none of "
                         "its folders is one");
    std::sort(recordings.begin(), recordings.end());
    return recordings;
}

std::string stemOf(const std::string& recording) {
    const std::string name = nameOf(recording);
    return name.substr(0, name.size() - endingLength(name));
}

}  // namespace Kavelin::Cli
