#include "cli/fuse/FuseOptions.h"

#include <Poco/Exception.h>

#include <utility>

#include "cli/CommandContext.h"
#include "cli/SameFile.h"
#include "io/recording/ResultFile.h"

namespace Kavelin::Cli {

namespace {

bool isFile(const std::string& name) { return !name.empty() && name != "-"; }

/// @return the path by which `written` would overwrite `other`: its own, or that under which a result is
/// written until it is complete; empty where the two are nothing to each other.
std::string pathInConflict(const std::string& written, const std::string& other) {
    if (!isFile(written) || !isFile(other)) return {};
    for (const std::string& path : {written, written + ".part"}) {
        if (isSameFile(path, other)) return path;
    }
    return {};
}

}  // namespace

void requireOwnFiles(const FuseOptions& options) {
    if (options.output.empty()) throw UsageError("-o '': a file name is expected, or - for standard output");
    try {
        RecordingIO::requireTableName(options.output);
    } catch (const Poco::InvalidArgumentException& refusal) {
        throw UsageError("-o " + refusal.message());
    }
    const std::pair<const char*, const std::string&> read[] = {{"the recording", options.recording},
                                                               {"the reference", options.reference},
                                                               {"the movement intervals", options.movement}};
    const std::pair<const char*, const std::string&> written[] = {
        {"-o", options.output}, {"--plot", options.plot}, {"--summary", options.summary}};
    for (const auto& [option, target] : written) {
        for (const auto& [what, source] : read) {
            const std::string path = pathInConflict(target, source);
            if (path.empty()) continue;
            throw UsageError(std::string(option) + " '" + target + "': '" + path + "' is " + what +
                             ", which would be lost; name another file");
        }
    }
    for (const auto& [option, target] : written) {
        for (const auto& [other, source] : written) {
            if (option == other || pathInConflict(target, source).empty()) continue;
            throw UsageError(std::string(option) + " and " + other + " are both '" + target +
                             "': name two files");
        }
    }
    if (options.summary == "-") throw UsageError("--summary -: a file name is expected");
}

}  // namespace Kavelin::Cli
