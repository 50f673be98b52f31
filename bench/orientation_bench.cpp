// Cost of a sample through each orientation processing filter, compared with its bare arithmetic on
// fixed-size values, and the cost of an error of the convergence time as a recording grows, compared with the
// plain scan of its definition.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "bench/support/FilterDrive.h"
#include "bench/support/OverSamples.h"
#include "orientation/FilterAngleDG.h"
#include "orientation/FilterChangeOfBasis.h"
#include "orientation/FilterConvergenceTime.h"
#include "orientation/FilterCumulAngles.h"
#include "orientation/FilterFlipDetectionLib.h"
#include "orientation/FilterOrientationIntegration.h"
#include "orientation/FilterOrientationQuality.h"
#include "orientation/FilterQuaternionFilter.h"
#include "orientation/FilterStaticMode.h"
#include "orientation/PlainConvergenceScan.h"
#include "orientation/convergence/ConvergenceHistory.h"
#include "orientation/frames/ChangeOfBasisComputer.h"
#include "orientation/integration/QuaternionIntegration.h"

namespace {

using namespace Kavelin::OrientationInternal;
using Kavelin::Bench::overSamples;
using Kavelin::Bench::samples;
using Kavelin::Tests::FilterDrive;

void integrationPlain(benchmark::State& state, bool linear) {
    Quaternion q(1, 0, 0, 0);
    Vector3 previous = Vector3::Zero();
    overSamples(state, [&](double, const auto& s) {
        q = linear ? integrateLinearRate(q, previous, s.rate, 0.01) : integrateConstantRate(q, s.rate, 0.01);
        q /= q.norm();
        previous = s.rate;
        benchmark::DoNotOptimize(q);
    });
}

void integrationProcess(benchmark::State& state, const char* order) {
    FilterDrive<FilterOrientationIntegration> drive;
    drive.set("order", order);
    overSamples(state, [&](double t, const auto& s) {
        drive.send(0, t, s.rate.transpose());
        benchmark::DoNotOptimize(drive.process());
    });
}

void smoothingPlain(benchmark::State& state) {
    QuaternionSmoother smoother;
    overSamples(state,
                [&](double, const auto& s) { benchmark::DoNotOptimize(smoother.step(s.truth.wxyz())); });
}

void smoothingProcess(benchmark::State& state) {
    FilterDrive<FilterQuaternionFilter> drive;
    overSamples(state, [&](double t, const auto& s) {
        drive.send(0, t, s.truth.wxyz().transpose());
        benchmark::DoNotOptimize(drive.process());
    });
}

void staticPlain(benchmark::State& state) {
    StaticModeComputer computer;
    overSamples(state,
                [&](double, const auto& s) { benchmark::DoNotOptimize(computer.score(s.acc, s.field)); });
}

void qualityPlain(benchmark::State& state) {
    OrientationQualityComputer computer;
    overSamples(state, [&](double, const auto& s) {
        benchmark::DoNotOptimize(computer.judgeAcceleration(s.acc, 0.1));
        benchmark::DoNotOptimize(computer.judgeField(s.field, 0.1));
        benchmark::DoNotOptimize(OrientationQualityComputer::judgeRate(s.rate, 1120));
    });
}

template <class F>
void agmProcess(benchmark::State& state) {
    FilterDrive<F> drive;
    overSamples(state, [&](double t, const auto& s) {
        drive.send(0, t, s.acc.transpose());
        drive.send(1, t, s.field.transpose());
        drive.send(2, t, s.rate.transpose());
        benchmark::DoNotOptimize(drive.process());
    });
}

void basisPlain(benchmark::State& state) {
    overSamples(state, [&](double, const auto& s) {
        const Eigen::Matrix3d& p = s.truth.R_earth_sensor;
        benchmark::DoNotOptimize(Eigen::Matrix3d(p.transpose() * samples()[0].truth.R_earth_sensor * p));
    });
}

void basisProcess(benchmark::State& state) {
    FilterDrive<FilterChangeOfBasis> drive;
    overSamples(state, [&](double t, const auto& s) {
        drive.send(0, t, s.truth.R_earth_sensor);
        drive.send(1, t, samples()[0].truth.R_earth_sensor);
        benchmark::DoNotOptimize(drive.process());
    });
}

void anglePlain(benchmark::State& state) {
    AngleDGComputer computer;
    const Quaternion d = samples()[0].truth.wxyz();
    overSamples(
        state, [&](double, const auto& s) { benchmark::DoNotOptimize(computer.compute(d, s.truth.wxyz())); });
}

void angleProcess(benchmark::State& state) {
    FilterDrive<FilterAngleDG> drive;
    overSamples(state, [&](double t, const auto& s) {
        drive.send(0, t, samples()[0].truth.wxyz().transpose());
        drive.send(1, t, s.truth.wxyz().transpose());
        benchmark::DoNotOptimize(drive.process());
    });
}

void cumulPlain(benchmark::State& state) {
    AngleAccumulator accumulator;
    Vector3 cumul, turns;
    overSamples(state, [&](double, const auto& s) {
        accumulator.advance({s.rate.data(), 3}, {cumul.data(), 3}, {turns.data(), 3});
        benchmark::DoNotOptimize(cumul);
    });
}

void cumulProcess(benchmark::State& state) {
    FilterDrive<FilterCumulAngles> drive;
    overSamples(state, [&](double t, const auto& s) {
        drive.send(0, t, s.rate.transpose());
        benchmark::DoNotOptimize(drive.process());
    });
}

void flipPlain(benchmark::State& state) {
    FlipDetector detector;
    const FlipSettings settings{.angleOn = 2.0, .angleOff = 1.0};
    overSamples(state, [&](double t, const auto& s) {
        benchmark::DoNotOptimize(detector.advance(s.acc, t, settings));
    });
}

void flipProcess(benchmark::State& state) {
    FilterDrive<FilterFlipDetectionLib> drive;
    overSamples(state, [&](double t, const auto& s) {
        drive.send(0, t, s.acc.transpose());
        benchmark::DoNotOptimize(drive.process());
    });
}

/// Errors that decay into noise and have settled after 10 s at 100 Hz.
std::vector<double> settlingErrors(std::size_t count) {
    std::mt19937 random(1);
    std::normal_distribution<double> noise(1.0, 0.15);
    std::vector<double> errors(count);
    for (std::size_t i = 0; i < count; ++i)
        errors[i] = 90 * std::exp(-static_cast<double>(i) / 200) + noise(random);
    return errors;
}

struct KeptHistory {
    ConvergenceHistory history;
    void append(double error) { history.appendError(error); }
    std::size_t entry() { return history.entryIntoBand(history.finalError().value_or(0.0), 1.0).value_or(0); }
};

struct PlainHistory {
    Kavelin::Tests::PlainConvergenceScan scan;
    void append(double error) { scan.errors.push_back(error); }
    std::size_t entry() { return scan.entryIntoBand(scan.finalError().value_or(0.0), 1.0).value_or(0); }
};

/// Cost of one error when `state.range(0)` are recorded already.
template <class History>
void convergenceAt(benchmark::State& state) {
    const auto length = static_cast<std::size_t>(state.range(0));
    const auto errors = settlingErrors(length + static_cast<std::size_t>(state.max_iterations));
    History history;
    std::size_t i = 0;
    while (i < length) history.append(errors[i++]);
    for (auto _ : state) {
        history.append(errors[i++]);
        benchmark::DoNotOptimize(history.entry());
    }
}

void convergenceProcess(benchmark::State& state) {
    FilterDrive<FilterConvergenceTime> drive;
    const auto errors = settlingErrors(static_cast<std::size_t>(state.max_iterations));
    const Eigen::Matrix<double, 1, 1> one(1.0);
    drive.send(1, 0, one);
    std::size_t i = 0;
    for (auto _ : state) {
        drive.send(0, 0, Eigen::Matrix<double, 1, 1>(errors[i++]));
        drive.send(2, 0, one);
        benchmark::DoNotOptimize(drive.process());
    }
}

/// The cost curve: an error after so many others, up to an hour at 100 Hz,
/// by the scan and as the filter does it.
[[maybe_unused]] const bool curveRegistered = [] {
    for (const int recorded : {1000, 10000, 100000, 360000}) {
        const std::string group = "FilterConvergenceTime after " + std::to_string(recorded) + " errors";
        benchmark::RegisterBenchmark((group + "/plain").c_str(), convergenceAt<PlainHistory>)
            ->Arg(recorded)
            ->Iterations(500);
        benchmark::RegisterBenchmark((group + "/in blocks").c_str(), convergenceAt<KeptHistory>)
            ->Arg(recorded)
            ->Iterations(20000);
    }
    return true;
}();

BENCHMARK_CAPTURE(integrationPlain, order_0, false)->Name("FilterOrientationIntegration order 0/plain");
BENCHMARK_CAPTURE(integrationProcess, order_0, "0")->Name("FilterOrientationIntegration order 0/process");
BENCHMARK_CAPTURE(integrationPlain, order_1, true)->Name("FilterOrientationIntegration order 1/plain");
BENCHMARK_CAPTURE(integrationProcess, order_1, "1")->Name("FilterOrientationIntegration order 1/process");
BENCHMARK(smoothingPlain)->Name("FilterQuaternionFilter/plain");
BENCHMARK(smoothingProcess)->Name("FilterQuaternionFilter/process");
BENCHMARK(staticPlain)->Name("FilterStaticMode/plain");
BENCHMARK(agmProcess<FilterStaticMode>)->Name("FilterStaticMode/process");
BENCHMARK(qualityPlain)->Name("FilterOrientationQuality/plain");
BENCHMARK(agmProcess<FilterOrientationQuality>)->Name("FilterOrientationQuality/process");
BENCHMARK(basisPlain)->Name("FilterChangeOfBasis/plain");
BENCHMARK(basisProcess)->Name("FilterChangeOfBasis/process");
BENCHMARK(anglePlain)->Name("FilterAngleDG/plain");
BENCHMARK(angleProcess)->Name("FilterAngleDG/process");
BENCHMARK(cumulPlain)->Name("FilterCumulAngles/plain");
BENCHMARK(cumulProcess)->Name("FilterCumulAngles/process");
BENCHMARK(flipPlain)->Name("FilterFlipDetectionLib/plain");
BENCHMARK(flipProcess)->Name("FilterFlipDetectionLib/process");
BENCHMARK(convergenceAt<KeptHistory>)->Name("FilterConvergenceTime/plain")->Arg(0)->Iterations(100000);
BENCHMARK(convergenceProcess)->Name("FilterConvergenceTime/process")->Iterations(100000);

}  // namespace
