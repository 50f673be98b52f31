#pragma once

#include <functional>
#include <string>

#include "cli/fleet/ServerLink.h"

namespace Kavelin::Cli {

/// How a worker works.
struct WorkSettings {
    std::string worker;         ///< its name, which no other has
    std::string recipe;         ///< what it was told to compute; a snapshot made by another is refused
    std::size_t units = 10000;  ///< most in memory
    Clock::duration snapshotEvery = std::chrono::seconds(5);
    Clock::duration lease = std::chrono::seconds(10);
    int mostUnacknowledged = 100000;
    std::function<void(const std::string&)> tell;  ///< a line for the user
};

}  // namespace Kavelin::Cli
