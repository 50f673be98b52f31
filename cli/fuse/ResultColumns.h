#pragma once

#include <string>
#include <vector>

#include "cli/fuse/FuseOptions.h"
#include "cli/fuse/ResultWatch.h"
#include "io/writing/TableFormat.h"

namespace Kavelin::Cli {

// How FilterCsvWriter is told the table of a result.

/// Name of the pin with the attitudes, which make the rows. Arrays are named after their pins.
std::string rowPin(RecordingIO::TableKind kind, AttitudeForm form);

/// The property "Header": the columns of the attitude, then those of each extra.
std::string headerOf(const std::string& rowPin, AttitudeForm form,
                     const std::vector<ResultWatch::Extra>& extras);

/// The same for OpenSim: one column, named after the recording's file.
std::string headerForOpenSim(const std::string& rowPin, const std::string& recording);

}  // namespace Kavelin::Cli
