#pragma once

#include <Kavelin/Core/FlowManager.h>

#include <cstdint>
#include <random>
#include <vector>

#include "soak/SoakCounts.h"
#include "soak/Watchdog.h"
#include "soak/Wiring.h"

namespace Kavelin::Soak {

/// What all meddlers work on.
struct Meddled {
    const std::vector<Core::Filter*>& filters;
    Wiring& wiring;
    SoakCounts& counts;
    Failures& failures;
    Watchdog& watchdog;
};

/// Changes connections, properties and runs at random while layouts run. Several meddle at a time: each has wires of its own,
/// but any property of any filter.
class Meddler {
public:
    using Random = std::mt19937_64;

    /// Every `of`-th wire, from the `first` on, is this one's.
    Meddler(Meddled meddled, std::uint64_t seed, std::size_t first, std::size_t of)
        : meddled_(meddled), random_(seed), first_(first), of_(of) {}

    /// @param acyclic filters send to later ones only, so that what is sent comes to an end
    void meddle(std::uint64_t actions, bool acyclic);

private:
    void act(bool acyclic);
    void rewire(bool acyclic);
    void unwire();
    void write();
    void command();
    void read();
    void restore();
    Wire* anyWire();
    Core::Filter& anyFilter();
    Core::AbstractProperty* anyProperty(bool commands);
    std::string anyText(const Core::AbstractProperty& property);
    std::size_t below(std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(random_);
    }
    double between(double low, double high) { return std::uniform_real_distribution<>(low, high)(random_); }

    Meddled meddled_;
    Random random_;
    std::size_t first_, of_;
};

}  // namespace Kavelin::Soak
