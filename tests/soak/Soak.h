#pragma once

#include <Kavelin/Core/FlowManager.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "soak/Meddler.h"
#include "soak/Memory.h"
#include "soak/SoakCounts.h"
#include "soak/SoakFilters.h"
#include "soak/Watchdog.h"
#include "soak/Wiring.h"

namespace Kavelin::Soak {

struct SoakOptions {
    std::uint64_t seed = 1;
    std::uint64_t episodes = 0;  ///< 0: as many as there are seconds for
    std::chrono::seconds time{600};
    std::chrono::seconds patience{120};
};

/// Four layouts of five filters each, which are started, meddled with and stopped, episode after episode. Between two of
/// them all is quiet: then every sample must be accounted for, and from time to time all filters are made again, after which
/// the heap must be as it was.
class Soak {
public:
    static constexpr std::size_t kLayouts = 4, kFiltersEach = 5, kMeddlers = 3;
    static constexpr double kWarmUp = 0.1;                   ///< share of the run
    static constexpr std::int64_t kMostHeap = 256 << 10;     ///< bytes of growth from the warm-up to the end
    static constexpr std::int64_t kMostResident = 96 << 20;  ///< the same of memory held, under a sanitizer

    Soak(const SoakOptions& options, SoakCounts& counts, Failures& failures);
    ~Soak();

    void run();
    /// A Markdown table of what was done.
    std::string report() const;

private:
    enum class Way { kFreely, kLanes, kInThreads, kInOneThread };

    void make(std::size_t index);
    void destroy(std::size_t index);
    void remakeAll();
    void episode();
    void beginRun(Way way);
    void meddle(Way way, bool acyclic);
    void startAndStop();
    bool endsByItself(Way way) const;
    void endRun(Way way, bool acyclic);
    void betweenEpisodes();
    double share() const;
    std::size_t below(std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(random_);
    }

    const SoakOptions options_;
    const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    SoakCounts& counts_;
    Failures& failures_;
    Core::FlowManager& flow_;
    Watchdog watchdog_;
    std::mt19937_64 random_;
    std::vector<Core::LayoutManager*> layouts_;
    std::vector<std::size_t> layoutOf_;  // of each filter
    std::vector<Core::FilterPtr> made_;  // by the plugin; null for those of this program
    std::vector<std::unique_ptr<Core::Filter>> own_;
    std::vector<Core::Filter*> filters_;
    std::vector<SoakSource*> sources_;
    Wiring wiring_;
    std::thread runner_;
    std::atomic<bool> isRunnerDone_{false};
    std::optional<Memory> warm_;
    Memory end_;
};

}  // namespace Kavelin::Soak
