#include "bench/support/SimulatedRecordings.h"

#include "support/DisturbedMotion.h"

namespace Kavelin::Bench {

namespace {

Recording simulate(const std::string& name, const Tests::Disturbance& fault) {
    Recording recording;
    recording.name = name;
    for (const Tests::MotionSample& s : Tests::recordDisturbed(fault)) {
        recording.samples.push_back({s.t, s.acc, s.rate, s.field});
        recording.truth.push_back({s.t, s.truth.q_earth_sensor});
    }
    recording.countFrom = 5.0;
    recording.headingKnown = fault.fieldEvery != 0;
    return recording;
}

}  // namespace

std::vector<Recording> simulatedRecordings() {
    return {
        simulate("sim_good", {.duration = 120, .rateBias = 0.01}),
        simulate("sim_no_field", {.duration = 120, .rateBias = 0.01, .fieldEvery = 0}),
        simulate("sim_bias_rest3", {.duration = 300, .rest = 3, .rateBias = 0.03}),
        simulate("sim_bias_no_rest", {.duration = 300, .rest = 0, .rateBias = 0.03}),
        simulate("sim_slow_rest3", {.duration = 300, .rest = 3, .speed = 0.15, .rateBias = 0.03}),
        simulate("sim_slow_no_rest", {.duration = 300, .rest = 0, .speed = 0.15, .rateBias = 0.03}),
        simulate("sim_start_moving", {.duration = 120, .rest = 0, .rateBias = 0.0}),
        simulate("sim_start_magnet", {.duration = 120, .rateBias = 0.01, .magnetTo = 10}),
        simulate("sim_magnet", {.duration = 120, .rateBias = 0.01, .magnetFrom = 30, .magnetTo = 40}),
        simulate("sim_shaken", {.duration = 120, .rateBias = 0.01, .shakeFrom = 30, .shakeTo = 40}),
    };
}

}  // namespace Kavelin::Bench
