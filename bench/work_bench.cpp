// Rows that come in batches, of units that pass through one engine in turn: what a batch costs beside its rows.
#include <benchmark/benchmark.h>

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "bench/support/CsvRecording.h"
#include "cli/CommandContext.h"
#include "cli/Plugins.h"
#include "cli/fleet/UnitEngine.h"

namespace {

using namespace Kavelin;

constexpr std::size_t kRows = 6000;
constexpr std::size_t kUnits = 2;

struct Batches {
    std::string header;
    std::vector<std::string> rows;  // of a batch each

    explicit Batches(std::size_t size) {
        const Bench::CsvRecording recording(kRows);
        std::istringstream text(recording.text());
        std::getline(text, header);
        std::string row;
        for (std::size_t i = 0; std::getline(text, row); ++i) {
            if (i % size == 0) rows.emplace_back();
            rows.back() += row + '\n';
        }
    }
};

Cli::UnitEngine& engine() {
    static std::ostringstream messages;
    static Cli::CommandContext context{std::cin, messages, messages};
    static const bool isLoaded = (Cli::loadPlugins(context, {}), true);
    static Cli::UnitEngine engine({});
    benchmark::DoNotOptimize(isLoaded);
    return engine;
}

/// @param size rows of a batch
void passUnits(benchmark::State& state, std::size_t size) {
    const Batches batches(size);
    std::size_t bytes = 0;
    for (auto _ : state) {
        std::string units[kUnits];
        for (const std::string& rows : batches.rows)
            for (std::string& unit : units) engine().advance(unit, {batches.header, rows});
        bytes = units[0].size();
    }
    state.counters["bytes_a_unit"] = static_cast<double>(bytes);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kUnits * kRows));
}

// The evidence of long batches is collected in a thread of its own.
void plain(benchmark::State& state) { passUnits(state, kRows); }
BENCHMARK(plain)->Name("unit_batches/plain")->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
void batches(benchmark::State& state) { passUnits(state, static_cast<std::size_t>(state.range(0))); }
BENCHMARK(batches)
    ->Name("unit_batches/of")
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();

}  // namespace
