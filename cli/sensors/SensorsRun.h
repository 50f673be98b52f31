#pragma once

#include "cli/CommandContext.h"
#include "cli/fuse/FuseOptions.h"

namespace Kavelin::Cli {

/// `kavelin fuse --all-sensors` into one table: fuses each sensor of a recording and writes their orientations side by
/// side, for OpenSim. Reports on standard error, sets the exit status.
/// @throws UsageError and Poco exceptions for what cannot be used; nothing is written then
void fuseSensors(const FuseOptions& options, CommandContext& context);

}  // namespace Kavelin::Cli
