#pragma once

#include <cstdint>
#include <string>

#include "simulation/Simulator.h"

namespace CLI {
class App;
}

namespace Kavelin::Cli {

struct SimulateOptions {
    RecordingIO::SimulationOptions simulation;
    std::string output = "-";
    std::uint64_t rows = 0;  ///< 0: as `seconds` says
    bool withoutTruth = false;

    /// Makes the length that of `rows`, where it is given.
    void settleLength();
};

/// Adds the options of `kavelin simulate` that say what is simulated.
void addSimulationOptions(CLI::App& command, SimulateOptions& options);

}  // namespace Kavelin::Cli
