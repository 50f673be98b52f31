// Cost of a sample through the estimators with a bias, compared with their bare arithmetic: hand-held motion
// after a rest, settled.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <vector>

#include "bench/support/Estimator.h"
#include "support/DisturbedMotion.h"

namespace {

using Kavelin::Bench::EstimatorEntry;
using Kavelin::Bench::Sample;

constexpr double kDuration = 30.0;  // s

const std::vector<Sample>& samples(double frequency) {
    static std::map<double, std::vector<Sample>> recorded;
    std::vector<Sample>& all = recorded[frequency];
    if (!all.empty()) return all;
    for (const auto& s : Kavelin::Tests::recordDisturbed({.frequency = frequency, .duration = kDuration})) {
        all.push_back({s.t, s.acc, s.rate, s.field});
    }
    return all;
}

std::unique_ptr<Kavelin::Bench::Estimator> make(const char* name) {
    for (const EstimatorEntry& entry : Kavelin::Bench::allEstimators()) {
        if (entry.name == name) return entry.make();
    }
    return nullptr;
}

// The recording again and again, time running on.
void stepThrough(benchmark::State& state, const char* name, double frequency = 285.7) {
    const auto estimator = make(name);
    const std::vector<Sample>& all = samples(frequency);
    std::size_t i = 0;
    double begin = 0.0;
    for (auto _ : state) {
        Sample s = all[i];
        s.t += begin;
        benchmark::DoNotOptimize(estimator->step(s));
        if (++i == all.size()) {
            i = 0;
            begin += kDuration;
        }
    }
}

// The longest time that any one sample of the recording takes: for each sample the least of many runs counts,
// so that other load on the machine does not.
void longestSample(benchmark::State& state, const char* name) {
    using Clock = std::chrono::steady_clock;
    constexpr int kRuns = 25;
    const std::vector<Sample>& all = samples(285.7);
    for (auto _ : state) {
        std::vector<double> least(all.size(), 1.0);
        for (int run = 0; run < kRuns; ++run) {
            const auto estimator = make(name);
            for (std::size_t i = 0; i < all.size(); ++i) {
                const auto begin = Clock::now();
                benchmark::DoNotOptimize(estimator->step(all[i]));
                least[i] = std::min(least[i], std::chrono::duration<double>(Clock::now() - begin).count());
            }
        }
        state.SetIterationTime(*std::max_element(least.begin(), least.end()));
    }
}

BENCHMARK_CAPTURE(stepThrough, spherical_plain, "spherical, bare")
    ->Name("FilterSphericalFilteringAttitude/plain");
BENCHMARK_CAPTURE(stepThrough, spherical, "SphericalFilteringAttitude")
    ->Name("FilterSphericalFilteringAttitude/process");
BENCHMARK_CAPTURE(stepThrough, so3_plain, "SO3, bare")->Name("FilterSO3Attitude/plain");
BENCHMARK_CAPTURE(stepThrough, so3, "SO3Attitude")->Name("FilterSO3Attitude/process");
BENCHMARK_CAPTURE(stepThrough, spherical_slow, "spherical, bare", 100)
    ->Name("FilterSphericalFilteringAttitude 100 Hz/plain");
BENCHMARK_CAPTURE(stepThrough, so3_slow, "SO3, bare", 100)->Name("FilterSO3Attitude 100 Hz/plain");
BENCHMARK_CAPTURE(longestSample, spherical_longest, "spherical, bare")
    ->Name("longest sample/FilterSphericalFilteringAttitude")
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(longestSample, so3_longest, "SO3, bare")
    ->Name("longest sample/FilterSO3Attitude")
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(stepThrough, v6_plain, "v6, bare")->Name("FilterAGMAttitude_v6/plain");
BENCHMARK_CAPTURE(stepThrough, v6, "AGMAttitude_v6")->Name("FilterAGMAttitude_v6/process");
BENCHMARK_CAPTURE(stepThrough, v7_plain, "v7, bare")->Name("FilterAGMAttitude_v7/plain");
BENCHMARK_CAPTURE(stepThrough, v7, "AGMAttitude_v7")->Name("FilterAGMAttitude_v7/process");
BENCHMARK_CAPTURE(stepThrough, v8_plain, "v8, bare")->Name("FilterAGMAttitude_v8/plain");
BENCHMARK_CAPTURE(stepThrough, v8, "AGMAttitude_v8")->Name("FilterAGMAttitude_v8/process");

}  // namespace
