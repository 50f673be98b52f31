#pragma once

#include <CLI/CLI.hpp>

#include "simulation/SensorFaults.h"

namespace Kavelin::Cli {

/// Adds the options of `simulate` that make a unit or its surroundings faulty.
/// `faults` must outlive the command.
void addFaultOptions(CLI::App& command, RecordingIO::FaultOptions& faults);

}  // namespace Kavelin::Cli
