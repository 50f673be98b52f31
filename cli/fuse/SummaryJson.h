#pragma once

#include <string>

#include "cli/fuse/FuseSummary.h"

namespace Kavelin::Cli {

/// The summary of a run for programs: one JSON object. SI units, angles in degrees; null where there is
/// nothing to say.  @param status the program's exit status
std::string summaryJson(const FuseSummary& summary, int status);

/// What a verdict rests on, as one JSON object.
std::string evidenceText(const RecordingIO::Evidence& evidence);

}  // namespace Kavelin::Cli
