#pragma once

#include <array>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>

namespace Kavelin::Cli {

/// How long results took, from when the server got the rows until it had their result.
struct LatencyHistogram {
    static constexpr std::array kBoundsMs = {1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10000};
    std::array<std::uint64_t, kBoundsMs.size() + 1> counts{};
    double seconds = 0.0;

    void add(double latencySeconds);
    std::uint64_t count() const;
};

/// How many units are worth what; a unit whose verdict is not known yet is not counted.
struct VerdictCounts {
    std::array<std::uint64_t, 3> tilt{}, heading{};  ///< good, doubtful, bad
    void add(const std::string& tiltVerdict, const std::string& headingVerdict);
};

/// What a worker says of one part.
struct PartStatus {
    std::uint64_t units = 0;  ///< in memory
    std::uint64_t rows = 0, refusedRows = 0;
    std::uint64_t messages = 0, redelivered = 0, badMessages = 0;
    std::uint64_t results = 0, snapshots = 0;
    std::uint64_t lag = 0;  ///< messages that wait for the worker
    double rowsPerSecond = 0.0;
    VerdictCounts verdicts;
    LatencyHistogram latency;
};

nlohmann::json toJson(const PartStatus& status);
/// What `toJson` made; what is missing is 0.
PartStatus partStatusFrom(const nlohmann::json& json);

/// @param parts by their index; those that the worker does not hold are null.  @return Prometheus's text form
std::string prometheusText(std::span<const PartStatus* const> parts);

}  // namespace Kavelin::Cli
