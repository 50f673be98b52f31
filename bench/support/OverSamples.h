#pragma once

#include <benchmark/benchmark.h>

#include <vector>

#include "support/Motion.h"

namespace Kavelin::Bench {

inline constexpr std::size_t kSamples = 1024;

inline const std::vector<Tests::MotionSample>& samples() {
    static const auto recorded = Tests::record(Tests::Motion(), (kSamples - 1) / 100.0, 100);
    return recorded;
}

/// Calls `step` with one sample after the other, and with a time stamp that only rises.
template <class Step>
void overSamples(benchmark::State& state, Step step) {
    const auto& motion = samples();
    std::size_t i = 0;
    for (auto _ : state) {
        step(static_cast<double>(i) / 100, motion[i % kSamples]);
        ++i;
    }
}

}  // namespace Kavelin::Bench
