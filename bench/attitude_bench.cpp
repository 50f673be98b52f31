// Cost of a sample through each filter of the attitude family,
// compared with its bare arithmetic on fixed-size values.
#include <benchmark/benchmark.h>

#include <array>

#include "attitude/FilterAGMTriad_gyro.h"
#include "attitude/FilterAbsoluteAttitude.h"
#include "attitude/FilterAttitude.h"
#include "attitude/FilterXSENSAttitude.h"
#include "bench/support/FilterDrive.h"
#include "bench/support/OverSamples.h"
#include "converters/Filter3a3mGenerator.h"
#include "converters/FilterOmegaToMatrix.h"
#include "converters/computers/DirectionSynthesis.h"
#include "orientation/FilterConstantPlane.h"

namespace {

using namespace Kavelin::OrientationInternal;
using Kavelin::Bench::overSamples;
using Kavelin::Bench::samples;
using Kavelin::Tests::FilterDrive;

void absolutePlain(benchmark::State& state) {
    overSamples(state, [](double, const auto& s) {
        const Matrix3 frame = AbsoluteAttitudeComputer::frameFromGravityAndField(s.acc, s.field);
        benchmark::DoNotOptimize(AbsoluteAttitudeComputer::multiply3x3(frame, s.truth.R_earth_sensor));
    });
}

void absoluteProcess(benchmark::State& state) {
    FilterDrive<FilterAbsoluteAttitude> drive;
    overSamples(state, [&](double t, const auto& s) {
        drive.send(0, t, s.acc.transpose());
        drive.send(1, t, s.field.transpose());
        drive.send(2, t, s.truth.R_earth_sensor);
        benchmark::DoNotOptimize(drive.process());
    });
}

void staticPlain(benchmark::State& state) {
    const RelativeAttitudeComputer relative;
    overSamples(state, [&](double, const auto& s) {
        benchmark::DoNotOptimize(
            relative.compute(AbsoluteAttitudeComputer::frameFromGravityAndField(s.acc, s.field)));
    });
}

void dynamicPlain(benchmark::State& state) {
    ConstPlaneComputer plane;
    plane.setPlane(Vector3::UnitZ(), samples()[0].field);
    overSamples(state, [&](double, const auto& s) {
        benchmark::DoNotOptimize(
            AbsoluteAttitudeComputer::axisAngleToRotation(plane.angle(s.field), Vector3::UnitZ()));
    });
}

void attitudeProcess(benchmark::State& state, const char* mode) {
    FilterDrive<FilterAttitude> drive;
    drive.set("Mode", mode);
    overSamples(state, [&](double t, const auto& s) {
        drive.send(0, t, s.acc.transpose());
        drive.send(1, t, s.field.transpose());
        benchmark::DoNotOptimize(drive.process());
    });
}

void xsensPlain(benchmark::State& state) {
    const RelativeAttitudeComputer relative;
    const Matrix3 flip = Vector3(-1, 1, -1).asDiagonal();
    overSamples(state, [&](double, const auto& s) {
        benchmark::DoNotOptimize(
            relative.compute(AbsoluteAttitudeComputer::multiply3x3(flip, s.truth.R_earth_sensor)));
    });
}

void xsensProcess(benchmark::State& state) {
    FilterDrive<FilterXSENSAttitude> drive;
    overSamples(state, [&](double t, const auto& s) {
        drive.send(0, t, s.truth.R_earth_sensor);
        benchmark::DoNotOptimize(drive.process());
    });
}

void triadPlain(benchmark::State& state) {
    TriadGyroComputer computer;
    overSamples(state, [&](double t, const auto& s) {
        benchmark::DoNotOptimize(computer.advance({t, s.acc, s.field, s.rate}));
    });
}

void triadProcess(benchmark::State& state) {
    FilterDrive<FilterAGMTriad_gyro> drive;
    overSamples(state, [&](double t, const auto& s) {
        drive.send(0, t, s.acc);
        drive.send(1, t, s.field);
        drive.send(2, t, s.rate);
        benchmark::DoNotOptimize(drive.process());
    });
}

void constantPlaneProcess(benchmark::State& state) {
    FilterDrive<FilterConstantPlane> drive;
    overSamples(state, [&](double t, const auto& s) {
        drive.send(0, t, s.field.transpose());
        benchmark::DoNotOptimize(drive.process());
    });
}

void omegaPlain(benchmark::State& state) {
    RateIntegrator integrator;
    overSamples(state,
                [&](double t, const auto& s) { benchmark::DoNotOptimize(integrator.advance(s.rate, t)); });
}

void omegaProcess(benchmark::State& state) {
    FilterDrive<FilterOmegaToMatrix> drive;
    overSamples(state, [&](double t, const auto& s) {
        drive.send(0, t, s.rate.transpose());
        benchmark::DoNotOptimize(drive.process());
    });
}

void generatorPlain(benchmark::State& state) {
    overSamples(state,
                [](double, const auto& s) { benchmark::DoNotOptimize(synthesizeDirections(s.field)); });
}

void generatorProcess(benchmark::State& state) {
    FilterDrive<Filter3a3mGenerator> drive;
    overSamples(state, [&](double t, const auto& s) {
        for (int i = 0; i < 3; ++i) {
            drive.send(static_cast<std::size_t>(i), t, Eigen::Matrix<double, 1, 1>(s.field[i]));
        }
        benchmark::DoNotOptimize(drive.process());
    });
}

BENCHMARK(absolutePlain)->Name("FilterAbsoluteAttitude/plain");
BENCHMARK(absoluteProcess)->Name("FilterAbsoluteAttitude/process");
BENCHMARK(staticPlain)->Name("FilterAttitude static/plain");
BENCHMARK_CAPTURE(attitudeProcess, static_mode, "static")->Name("FilterAttitude static/process");
BENCHMARK(dynamicPlain)->Name("FilterAttitude dynamic/plain");
BENCHMARK_CAPTURE(attitudeProcess, dynamic_mode, "dynamic yaw")->Name("FilterAttitude dynamic/process");
BENCHMARK(xsensPlain)->Name("FilterXSENSAttitude/plain");
BENCHMARK(xsensProcess)->Name("FilterXSENSAttitude/process");
BENCHMARK(triadPlain)->Name("FilterAGMTriad_gyro/plain");
BENCHMARK(triadProcess)->Name("FilterAGMTriad_gyro/process");
BENCHMARK(dynamicPlain)->Name("FilterConstantPlane/plain");
BENCHMARK(constantPlaneProcess)->Name("FilterConstantPlane/process");
BENCHMARK(omegaPlain)->Name("FilterOmegaToMatrix/plain");
BENCHMARK(omegaProcess)->Name("FilterOmegaToMatrix/process");
BENCHMARK(generatorPlain)->Name("Filter3a3mGenerator/plain");
BENCHMARK(generatorProcess)->Name("Filter3a3mGenerator/process");

}  // namespace
