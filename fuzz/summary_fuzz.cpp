#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "cli/batch/ResultState.h"

/// What a batch noted of an earlier run: any JSON gives the figures that it has.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto summary = nlohmann::ordered_json::parse(data, data + size, nullptr, false);
    if (summary.is_discarded()) return 0;
    const Kavelin::Cli::RunFigures figures = Kavelin::Cli::figuresOf(summary);
    if (figures.bias && *figures.bias < 0.0) std::abort();
    return 0;
}
