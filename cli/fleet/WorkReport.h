#pragma once

#include <iosfwd>

#include "cli/fleet/FleetNames.h"
#include "cli/fleet/ServerLink.h"

namespace Kavelin::Cli {

/// Writes what the workers of a fleet say of themselves, a line for each part; or all of it as JSON.
/// A worker says so again and again: this waits until each has, or has had the time for it.
/// @return whether a worker is at work on every part.  @throws UsageError if there is no such fleet
bool reportWork(const ServerLink& link, const FleetNames& names, bool asJson, std::ostream& out);

}  // namespace Kavelin::Cli
