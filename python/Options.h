#pragma once

#include <string>
#include <vector>

#include "cli/RecordingChoice.h"
#include "cli/SimulateOptions.h"
#include "cli/fuse/FuseOptions.h"
#include "io/formats/OpenRecording.h"
#include "python/Values.h"

namespace Kavelin::Python {

// Options as the program takes them, "--output-rate=100": read and refused as there.
// All throw Cli::UsageError with the program's text.

using Arguments = std::vector<Text>;

Cli::RecordingChoice recordingOptions(const Arguments& arguments);
Cli::FuseOptions fuseOptions(const Arguments& arguments);
Cli::SimulateOptions simulateOptions(const Arguments& arguments);

/// How a reader opens a recording by such a choice.  @throws Poco::DataFormatException
RecordingIO::OpenOptions readerOptions(const Cli::RecordingChoice& choice);

}  // namespace Kavelin::Python
