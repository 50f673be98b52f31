#pragma once

#include <string>
#include <vector>

#include "cli/fleet/FleetNames.h"
#include "cli/fleet/NatsHandles.h"
#include "cli/fleet/ServerLink.h"

namespace Kavelin::Cli {

/// What a fleet keeps on the server: streams of rows, results and bad messages, buckets of snapshots and leases.
struct Fleet {
    FleetNames names;
    unsigned parts = 1;
    std::string resultStream{};          ///< has the subjects of results, whatever it is called
    std::vector<std::string> remarks{};  ///< what works, with a risk
    std::string calibrationBucket{};     ///< values are JSON; empty: none was named
};

/// How a fleet is opened.
struct FleetRequest {
    FleetNames names;
    unsigned parts = 1;
    std::string calibrationBucket;  ///< empty: none
    int replicas = 1;               ///< of what is made
};

/// Opens streams and buckets; those that are missing are made, with file storage.
/// @throws UsageError for what is there with settings that cannot work, with what they should be
Fleet openFleet(const ServerLink& link, const FleetRequest& request);

}  // namespace Kavelin::Cli
