#pragma once

#include "cli/CommandContext.h"
#include "cli/validate/ValidateOptions.h"

namespace Kavelin::Cli {

/// Validates plugins: each check in a child process that loads the plugin itself, so that this process has nothing of it.
/// Leaves in `context` the status: kDoneWithErrors when a check found something.
/// @throws UsageError for names that there are not, and for a plugin that cannot be loaded.
void validate(const ValidateOptions& options, CommandContext& context);

}  // namespace Kavelin::Cli
