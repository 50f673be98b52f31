#include "cli/fuse/FuseOptions.h"

#include <utility>

#include "cli/CommandContext.h"
#include "cli/SameFile.h"

namespace Kavelin::Cli {

namespace {

bool areFilesInConflict(const std::string& a, const std::string& b) {
    const auto isFile = [](const std::string& name) { return !name.empty() && name != "-"; };
    return isFile(a) && isFile(b) && isSameFile(a, b);
}

}  // namespace

void requireOwnFiles(const FuseOptions& options) {
    if (options.output.empty()) throw UsageError("-o '': a file name is expected, or - for standard output");
    if (options.output.ends_with(".gz")) {
        throw UsageError("-o '" + options.output + "': results are written as plain text; leave out the .gz");
    }
    const std::pair<const char*, const std::string&> read[] = {{"the recording", options.recording},
                                                               {"the reference", options.reference},
                                                               {"the movement intervals", options.movement}};
    const std::pair<const char*, const std::string&> written[] = {{"-o", options.output},
                                                                  {"--plot", options.plot}};
    for (const auto& [option, target] : written) {
        for (const auto& [what, source] : read) {
            if (!areFilesInConflict(target, source)) continue;
            throw UsageError(std::string(option) + " '" + target + "' is " + what +
                             ", which would be lost: name another file");
        }
    }
    if (areFilesInConflict(options.output, options.plot)) {
        throw UsageError("-o and --plot are both '" + options.output + "': name two files");
    }
}

}  // namespace Kavelin::Cli
