#pragma once

#include <Kavelin/Core/Filter.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "cli/view/TapBoard.h"

namespace Kavelin::Cli {

/// What flows through what is built: samples, rates, buffers, errors.  [one thread at a time, not in a `process`]
class LayoutCounters {
public:
    using Clock = std::chrono::steady_clock;

    LayoutCounters(std::vector<Core::Filter*> filters, const TapBoard& taps);

    /// Adds "outputs", "inputs" and "filters" of the message `status`. Waits for each filter's `process` to return.
    void describe(nlohmann::ordered_json& status, Clock::time_point now);

private:
    struct Counts {
        Clock::time_point at;
        std::vector<std::uint64_t> ofOutputs;
    };

    nlohmann::ordered_json outputs(Clock::time_point now);
    nlohmann::ordered_json inputs() const;
    nlohmann::ordered_json errors() const;

    const std::vector<Core::Filter*> filters_;
    const TapBoard& taps_;
    std::deque<Counts> history_;  // the newest last
};

}  // namespace Kavelin::Cli
