#include "cli/joint/JointOptions.h"

#include <filesystem>

#include "cli/CommandContext.h"
#include "io/files/ByteSource.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

/// "thigh" of "trial1/thigh.csv.gz".
std::string stemOf(const std::string& recording) {
    std::filesystem::path path(recording);
    if (!path.has_filename()) path = path.parent_path();  // a folder with a slash behind it
    path = path.filename();
    for (const char* ending : {".gz", ".zip"})
        if (path.extension() == ending) path = path.stem();
    return path.stem().string();
}

/// "thigh" of "trial1/thigh/recording.csv"; empty without a folder.
std::string folderOf(const std::string& recording) {
    return std::filesystem::path(recording).parent_path().filename().string();
}

/// Recordings of one name each in a folder of its own are called after their folders too.
bool isCalled(const std::string& recording, const std::string& name) {
    return stemOf(recording) == name || folderOf(recording) == name;
}

/// The file or folder of that name, without ending, in a folder; empty unless there is just one.
std::string entryCalled(const std::string& folder, const std::string& name) {
    std::string found;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (stemOf(entry.path().string()) != name) continue;
        if (!found.empty()) return {};
        found = entry.path().string();
    }
    return found;
}

std::array<std::string, 2> namesIn(const std::string& joint) {
    const std::size_t colon = joint.find(':');
    const bool isPair = colon != std::string::npos && joint.find(':', colon + 1) == std::string::npos;
    if (!isPair || colon == 0 || colon + 1 == joint.size()) {
        throw UsageError("--joint '" + joint +
                         "': two names with a colon between them are expected, the unit nearer to the trunk "
                         "first, as in thigh:shank");
    }
    std::array<std::string, 2> names{joint.substr(0, colon), joint.substr(colon + 1)};
    if (names[0] == names[1])
        throw UsageError("--joint '" + joint + "': a joint is between two different units");
    return names;
}

}  // namespace

JointUnits jointUnits(const std::string& joint, const std::vector<std::string>& recordings) {
    if (joint.empty())
        throw UsageError("--pose, --hinge and --alike are about a joint: --joint D:G names its two units");
    const auto names = namesIn(joint);
    for (const std::string& recording : recordings) {
        if (!RecordingIO::canBeReadOnlyOnce(recording)) continue;
        throw UsageError(
            (recording == "-" ? std::string("standard input") : recording) +
            ": --joint reads each recording twice, first for the pose and the axis; a pipe can be read only "
            "once: write it into a file first");
    }
    if (recordings.size() == 1 && std::filesystem::is_directory(recordings[0])) {
        const std::string d = entryCalled(recordings[0], names[0]), g = entryCalled(recordings[0], names[1]);
        if (!d.empty() && !g.empty()) return {{{names[0], d, {}}, {names[1], g, {}}}};
    }
    if (recordings.size() == 1)
        return {{{names[0], recordings[0], names[0]}, {names[1], recordings[0], names[1]}}};
    if (recordings.size() == 2) {
        for (const int first : {0, 1}) {
            const std::string& d = recordings[static_cast<std::size_t>(first)];
            const std::string& g = recordings[static_cast<std::size_t>(1 - first)];
            if (isCalled(d, names[0]) && isCalled(g, names[1]))
                return {{{names[0], d, {}}, {names[1], g, {}}}};
        }
        throw UsageError("--joint '" + joint + "': the recordings are called " + stemOf(recordings[0]) +
                         " and " + stemOf(recordings[1]) +
                         "; with two recordings, D:G are these names or those of their folders, of the unit "
                         "nearer to the trunk "
                         "first");
    }
    throw UsageError("--joint takes one recording that holds both units, or one of each; there are " +
                     RecordingIO::counted(recordings.size(), "recording"));
}

}  // namespace Kavelin::Cli
