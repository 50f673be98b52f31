// Cost of the calibrations that take a whole recording: ten minutes of poses at 300 Hz, an hour of stillness at 100 Hz.
#include <benchmark/benchmark.h>

#include "calibration/PoseRecording.h"
#include "calibration/inertial/InertialFit.h"
#include "calibration/noise/NoiseFit.h"

namespace {

using namespace Kavelin::Calibration;

/// Each sample three times, at a third of the step.
SensorTrack atThreeTimesTheRate(const SensorTrack& track) {
    SensorTrack denser;
    for (std::size_t i = 0; i + 1 < track.size(); ++i) {
        for (int part = 0; part < 3; ++part) {
            denser.times.push_back(track.times[i] + part / 3.0 * (track.times[i + 1] - track.times[i]));
            denser.values.push_back(track.values[i]);
        }
    }
    return denser;
}

void inertial(benchmark::State& state) {
    PoseRecording made({}, 1, 0.01);
    while (made.time() < 600.0) {
        made.rest(3.0);
        made.turn(2.5 * made.direction());
        made.turn(2.5 * made.direction());
    }
    const SensorRecording recording{.acceleration = atThreeTimesTheRate(made.recording.acceleration),
                                    .rate = atThreeTimesTheRate(made.recording.rate),
                                    .field = {}};
    for (auto _ : state) benchmark::DoNotOptimize(calibrateInertial(recording));
}
BENCHMARK(inertial)->Name("calibration/imu, 10 minutes at 300 Hz")->Unit(benchmark::kMillisecond);

void noise(benchmark::State& state) {
    PoseRecording made({}, 1, 0.01);
    made.rest(3600.0);
    for (auto _ : state) benchmark::DoNotOptimize(calibrateNoise(made.recording));
}
BENCHMARK(noise)->Name("calibration/noise, an hour at 100 Hz")->Unit(benchmark::kMillisecond);

}  // namespace
