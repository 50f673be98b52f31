// Cost of a sample through the estimators with a bias, beside their bare arithmetic: hand-held motion after a
// rest, settled.
#include <benchmark/benchmark.h>

#include <memory>

#include "bench/support/Estimator.h"
#include "support/DisturbedMotion.h"

namespace {

using Kavelin::Bench::EstimatorEntry;
using Kavelin::Bench::Sample;

const std::vector<Sample>& samples() {
    static const std::vector<Sample> recorded = [] {
        std::vector<Sample> all;
        for (const auto& s : Kavelin::Tests::recordDisturbed({.frequency = 285.7, .duration = 30})) {
            all.push_back({s.t, s.acc, s.rate, s.field});
        }
        return all;
    }();
    return recorded;
}

// The recording again and again, time running on.
void stepThrough(benchmark::State& state, const char* name) {
    std::unique_ptr<Kavelin::Bench::Estimator> estimator;
    for (const EstimatorEntry& entry : Kavelin::Bench::allEstimators()) {
        if (entry.name == name) estimator = entry.make();
    }
    const std::vector<Sample>& all = samples();
    std::size_t i = 0;
    double begin = 0.0;
    for (auto _ : state) {
        Sample s = all[i];
        s.t += begin;
        benchmark::DoNotOptimize(estimator->step(s));
        if (++i == all.size()) {
            i = 0;
            begin += 30.0;
        }
    }
}

BENCHMARK_CAPTURE(stepThrough, spherical_plain, "spherical, bare")
    ->Name("FilterSphericalFilteringAttitude/plain");
BENCHMARK_CAPTURE(stepThrough, spherical, "SphericalFilteringAttitude")
    ->Name("FilterSphericalFilteringAttitude/process");
BENCHMARK_CAPTURE(stepThrough, v6_plain, "v6, bare")->Name("FilterAGMAttitude_v6/plain");
BENCHMARK_CAPTURE(stepThrough, v6, "AGMAttitude_v6")->Name("FilterAGMAttitude_v6/process");
BENCHMARK_CAPTURE(stepThrough, v7_plain, "v7, bare")->Name("FilterAGMAttitude_v7/plain");
BENCHMARK_CAPTURE(stepThrough, v7, "AGMAttitude_v7")->Name("FilterAGMAttitude_v7/process");
BENCHMARK_CAPTURE(stepThrough, v8_plain, "v8, bare")->Name("FilterAGMAttitude_v8/plain");
BENCHMARK_CAPTURE(stepThrough, v8, "AGMAttitude_v8")->Name("FilterAGMAttitude_v8/process");

}  // namespace
