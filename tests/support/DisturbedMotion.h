#pragma once

#include <Eigen/Core>
#include <limits>
#include <random>
#include <vector>

#include "support/Motion.h"

/// Motions with the faults that recordings have: a bias, jitter, lost samples, a magnet, shaking,
/// no field at all.
namespace Kavelin::Tests {

/// What is wrong with a recording; the defaults are a good one of a unit turned by hand at 1 rad/s.
struct Disturbance {
    double frequency = 200;               // Hz
    double duration = 60;                 // s
    double rest = 3;                      // s of rest at the start
    double speed = 1;                     // factor on the motion; 1 turns at about 1 rad/s
    double rateBias = 0.01;               // rad/s, its length
    double jitter = 0;                    // share of a sample's time by which time stamps scatter
    double lost = 0;                      // share of sample sets that are missing
    int fieldEvery = 1;                   // the field comes with every n-th set; 0: never
    double magnetFrom = 0, magnetTo = 0;  // s, a magnet near the unit
    double shakeFrom = 0, shakeTo = 0;    // s, a force of 8 m/s^2 that the pose does not explain
};

inline Motion handheldMotion(const Disturbance& fault) {
    MotionSettings settings;
    settings.yaw = {0.4, 0, {1.2, 0.13 * fault.speed, 0.3}, {0.2, 0.61 * fault.speed, 1.1}};
    settings.pitch = {0, 0, {0.5, 0.17 * fault.speed, 0.9}, {0.1, 0.71 * fault.speed, 0.2}};
    settings.roll = {0, 0, {0.6, 0.11 * fault.speed, 1.7}, {0.15, 0.53 * fault.speed, 2.5}};
    if (fault.rest > 0) settings.rests = {{0, fault.rest}};
    return Motion(settings);
}

/// Samples that motion with its faults and a hand-held unit's noise; equal seeds give equal samples.
/// A field that is missing is not a number.
inline std::vector<MotionSample> recordDisturbed(const Disturbance& fault, unsigned seed = 1) {
    using Eigen::Vector3d;
    const Motion motion = handheldMotion(fault);
    std::mt19937 engine(seed);
    std::normal_distribution<double> normal;
    std::uniform_real_distribution<double> uniform(0, 1);
    const auto noise = [&](double deviation) -> Vector3d {
        const double x = normal(engine), y = normal(engine), z = normal(engine);
        return deviation * Vector3d(x, y, z);
    };
    const Vector3d bias = fault.rateBias * Vector3d(1, -1, 1).normalized();
    std::vector<MotionSample> samples;
    const int count = static_cast<int>(fault.duration * fault.frequency);
    for (int i = 0; i < count; ++i) {
        const double t = (i + fault.jitter * (uniform(engine) - 0.5)) / fault.frequency;
        const bool lost = uniform(engine) < fault.lost;
        const MotionState truth = motion.at(t);
        MotionSample sample{t, truth.rate + bias + noise(0.005), truth.acc + noise(0.05),
                            truth.field + noise(0.4), truth};
        if (t >= fault.magnetFrom && t < fault.magnetTo) sample.field += Vector3d(40, -25, 30);
        if (t >= fault.shakeFrom && t < fault.shakeTo)
            sample.acc += 8 * std::sin(12 * t) * Vector3d(1, 0.5, 0.2);
        if (fault.fieldEvery == 0 || i % fault.fieldEvery != 0) {
            sample.field.setConstant(std::numeric_limits<double>::quiet_NaN());
        }
        if (!lost) samples.push_back(sample);
    }
    return samples;
}

}  // namespace Kavelin::Tests
