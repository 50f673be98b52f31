#pragma once

#include <cstdint>
#include <functional>

#include "io/recording/ArrayReader.h"
#include "io/recording/ResultFile.h"
#include "simulation/Simulator.h"

namespace Kavelin::RecordingIO {

/// Writes a simulated recording, header and rows: `t,ax,...,mz` and, with `truth`, the attitude
/// `qw,qx,qy,qz`. Values are rounded to what a sensor of this kind resolves, which keeps the file small.
/// @param isStopped asked before each row; true ends the recording there.  @return rows written.
std::uint64_t writeSimulation(const SimulationOptions& options, bool truth, ResultFile& file,
                              const std::function<bool()>& isStopped = {});

/// The same table in memory, with the numbers that the file would have.
ArrayTable simulate(const SimulationOptions& options, bool truth,
                    const std::function<bool()>& isStopped = {});

}  // namespace Kavelin::RecordingIO
