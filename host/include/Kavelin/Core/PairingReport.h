#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Kavelin::Core {

/// How well the samples of a filter that takes one of each input matched.
/// A set is what one call of `process` took.
struct PairingReport {
    struct Unpaired {
        std::string pin;
        std::uint64_t count;  ///< passed over by the filter, dropped by the full buffer, or left over
    };

    std::uint64_t sets = 0;
    double largestDifference = 0.0;  ///< between the time stamps of one set
    double at = 0.0;                 ///< the latest time stamp of that set
    double interval = 0.0;           ///< usual step of the fastest input; 0.0 where it is not known
    std::uint64_t unlike = 0;        ///< sets whose time stamps differ by more than half of it
    std::vector<Unpaired> unpaired;  ///< the inputs that have some
};

}  // namespace Kavelin::Core
