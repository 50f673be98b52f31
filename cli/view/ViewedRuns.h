#pragma once

#include <string>

#include "cli/fuse/FuseOptions.h"
#include "cli/layout/LayoutFileRun.h"
#include "cli/view/ViewSession.h"

namespace Kavelin::Cli {

/// Runs of a layout file, as `kavelin run` makes them; with several layouts, each in a thread.
ViewSession::Maker makeLayoutRuns(LayoutFileRunOptions options, CommandContext& context);

/// Runs of a recording, as `kavelin fuse` makes them.  @param output empty: a temporary file, gone with the last run
ViewSession::Maker makeFuseRuns(FuseOptions options, const std::string& output, CommandContext& context);

}  // namespace Kavelin::Cli
