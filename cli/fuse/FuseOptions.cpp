#include "cli/fuse/FuseOptions.h"

#include <filesystem>

#include "cli/CommandContext.h"

namespace Kavelin::Cli {

namespace fs = std::filesystem;

namespace {

/// Also where one of them is yet to be written, or goes through a link. Standard streams and devices are
/// nobody's.
bool isSameFile(const std::string& a, const std::string& b) {
    if (a.empty() || b.empty() || a == "-" || b == "-") return false;
    std::error_code unknown;
    if (fs::exists(a, unknown) && !fs::is_regular_file(a, unknown)) return false;
    return fs::weakly_canonical(fs::absolute(a, unknown), unknown) ==
               fs::weakly_canonical(fs::absolute(b, unknown), unknown) ||
           fs::equivalent(a, b, unknown);
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
            if (!isSameFile(target, source)) continue;
            throw UsageError(std::string(option) + " '" + target + "' is " + what +
                             ", which would be lost: name another file");
        }
    }
    if (isSameFile(options.output, options.plot)) {
        throw UsageError("-o and --plot are both '" + options.output + "': name two files");
    }
}

}  // namespace Kavelin::Cli
