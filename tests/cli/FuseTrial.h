#pragma once

#include <sstream>
#include <string>

#include "cli/CommandContext.h"
#include "cli/Plugins.h"
#include "cli/fuse/FuseRun.h"

namespace Kavelin::Cli {

/// `kavelin fuse` in this process, with what it says and its exit status.
struct FuseTrial {
    FuseTrial(const std::string& recording, const std::string& output) {
        loadPlugins(context, {});
        options.recording = recording;
        options.output = output;
        options.type = "FilterAttitude";
    }
    void run() { FuseRun(options, context).run(); }

    std::istringstream in;
    std::ostringstream out, err;
    CommandContext context{in, out, err};
    FuseOptions options;
};

}  // namespace Kavelin::Cli
