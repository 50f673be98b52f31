#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "cli/fleet/Unit.h"

namespace Kavelin::Cli {

/// What the bucket of snapshots holds of a unit: the state of its estimator, and which messages that state contains.
struct UnitSnapshot {
    std::uint64_t contained = 0;  ///< sequence of the last message of rows in the state
    std::int64_t streamMade =
        0;              ///< ns, when the stream of rows was made: sequences of another one mean nothing
    unsigned part = 0;  ///< of the stream, in which those messages were
    Marks marks{};
    std::string recipe;  ///< what the worker was told to compute
    std::string state;   ///< the engine's bytes
};

/// One line of JSON, then the state.
std::string encodeSnapshot(const UnitSnapshot& snapshot);
/// @throws Poco::DataFormatException
UnitSnapshot decodeSnapshot(std::string_view bytes);

}  // namespace Kavelin::Cli
