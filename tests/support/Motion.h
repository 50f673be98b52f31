#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>
#include <vector>

/// One motion in closed form for every test: true attitude, body rate, specific force and field at any time.
/// Earth frame East, North (magnetic), Up; quaternions sensor to earth, w, x, y, z; s, rad, rad/s, m/s^2, uT.
namespace Kavelin::Tests {

/// A curve and its first two derivatives at one point.
struct Jet {
    double value = 0, first = 0, second = 0;
};

/// amplitude * sin(2 pi frequency s + phase); frequency in Hz.
struct Wave {
    double amplitude = 0, frequency = 0, phase = 0;

    Jet at(double s) const {
        const double k = 2 * std::numbers::pi * frequency;
        const double value = amplitude * std::sin(k * s + phase);
        return {value, amplitude * k * std::cos(k * s + phase), -k * k * value};
    }
};

/// offset + slope s + two waves.
struct Curve {
    double offset = 0, slope = 0;
    Wave slow, fast;

    Jet at(double s) const {
        const Jet a = slow.at(s), b = fast.at(s);
        return {offset + slope * s + a.value + b.value, slope + a.first + b.first, a.second + b.second};
    }
};

/// The unit is still from `begin` to `end` (s) and slows down and speeds up within `ramp` before and after.
struct Rest {
    double begin, end;
    double ramp = 0.5;
};

/// Settings of a motion; the defaults turn about all axes at 1 rad/s or so, without leaving the place.
struct MotionSettings {
    // R_earth_sensor = Rz(yaw) Ry(pitch) Rx(roll)
    Curve yaw{0.4, 0.0, {0.9, 0.13, 0.3}, {0.2, 0.61, 1.1}};
    Curve pitch{0.0, 0.0, {0.5, 0.17, 0.9}, {0.1, 0.71, 0.2}};
    Curve roll{0.0, 0.0, {0.6, 0.11, 1.7}, {0.15, 0.53, 2.5}};
    std::array<Wave, 3> position{};  // m, earth frame; shakes the accelerometer
    std::vector<Rest> rests{};       // in order, ramps not overlapping
    double gravity = 9.81;
    double fieldNorm = 48;
    double dip = 1.1;  // rad, below the horizon
};

/// Everything true at one time.
struct MotionState {
    double t;
    Eigen::Quaterniond q_earth_sensor;
    Eigen::Matrix3d R_earth_sensor;
    Eigen::Vector3d rate;   // of the sensor against the earth, sensor frame
    Eigen::Vector3d acc;    // specific force, sensor frame: R^T (0, 0, g) at rest
    Eigen::Vector3d field;  // sensor frame

    Eigen::Vector4d wxyz() const {
        return {q_earth_sensor.w(), q_earth_sensor.x(), q_earth_sensor.y(), q_earth_sensor.z()};
    }
};

class Motion {
public:
    explicit Motion(MotionSettings settings = {}) : settings_(std::move(settings)) {}

    MotionState at(double t) const {
        const Jet s = path(t);
        const Jet yaw = settings_.yaw.at(s.value);
        const Jet pitch = settings_.pitch.at(s.value);
        const Jet roll = settings_.roll.at(s.value);
        using Eigen::AngleAxisd, Eigen::Vector3d;
        const Eigen::Quaterniond q = AngleAxisd(yaw.value, Vector3d::UnitZ()) *
                                     AngleAxisd(pitch.value, Vector3d::UnitY()) *
                                     AngleAxisd(roll.value, Vector3d::UnitX());
        const Eigen::Matrix3d r = q.toRotationMatrix();
        return {t,
                q,
                r,
                s.first * ratePerPath(yaw, pitch, roll),
                r.transpose() * forceInEarth(s),
                r.transpose() * fieldInEarth()};
    }

    const MotionSettings& settings() const { return settings_; }
    /// Where on the curves the unit is: the time, less the rests.
    Jet pathAt(double t) const { return path(t); }

    Eigen::Vector3d fieldInEarth() const {
        return settings_.fieldNorm * Eigen::Vector3d(0, std::cos(settings_.dip), -std::sin(settings_.dip));
    }

private:
    /// Path parameter s(t): runs with the clock, but stands still in rests; each ramp is a raised cosine.
    Jet path(double t) const {
        Jet s{t, 1, 0};
        for (const Rest& rest : settings_.rests) {
            const double k = std::numbers::pi / rest.ramp;
            const double into = t - (rest.begin - rest.ramp);
            const double past = t - rest.end;
            if (into <= 0) continue;
            if (into < rest.ramp) {
                s.value -= into / 2 - std::sin(k * into) / (2 * k);
                s.first = (1 + std::cos(k * into)) / 2;
                s.second = -k * std::sin(k * into) / 2;
            } else if (past <= 0) {
                s.value -= rest.ramp / 2 + (t - rest.begin);
                s.first = s.second = 0;
            } else if (past < rest.ramp) {
                s.value -= rest.ramp / 2 + (rest.end - rest.begin) + past / 2 + std::sin(k * past) / (2 * k);
                s.first = (1 - std::cos(k * past)) / 2;
                s.second = k * std::sin(k * past) / 2;
            } else {
                s.value -= rest.ramp + (rest.end - rest.begin);
            }
        }
        return s;
    }

    static Eigen::Vector3d ratePerPath(const Jet& yaw, const Jet& pitch, const Jet& roll) {
        const double sr = std::sin(roll.value), cr = std::cos(roll.value);
        const double sp = std::sin(pitch.value), cp = std::cos(pitch.value);
        return {roll.first - yaw.first * sp, pitch.first * cr + yaw.first * cp * sr,
                yaw.first * cp * cr - pitch.first * sr};
    }

    Eigen::Vector3d forceInEarth(const Jet& s) const {
        Eigen::Vector3d force(0, 0, settings_.gravity);
        for (int i = 0; i < 3; ++i) {
            const Jet p = settings_.position[static_cast<std::size_t>(i)].at(s.value);
            force[i] += p.second * s.first * s.first + p.first * s.second;
        }
        return force;
    }

    MotionSettings settings_;
};

/// Error model of the three sensors: a constant bias each, and white noise of a standard deviation each.
struct SensorErrors {
    Eigen::Vector3d rateBias = Eigen::Vector3d::Zero();
    Eigen::Vector3d accBias = Eigen::Vector3d::Zero();
    Eigen::Vector3d fieldBias = Eigen::Vector3d::Zero();
    double rateNoise = 0, accNoise = 0, fieldNoise = 0;
};

/// One sample of a recording: what the sensors say, and the truth.
struct MotionSample {
    double t;
    Eigen::Vector3d rate, acc, field;  // as measured
    MotionState truth;
};

/// Samples a motion at t = 0, 1/frequency, ... up to and with `duration`; equal seeds give equal samples.
inline std::vector<MotionSample> record(const Motion& motion, double duration, double frequency,
                                        const SensorErrors& errors = {}, unsigned seed = 1) {
    std::mt19937 engine(seed);
    std::normal_distribution<double> normal;
    const auto noise = [&](double deviation) -> Eigen::Vector3d {
        const double x = normal(engine), y = normal(engine), z = normal(engine);
        return deviation * Eigen::Vector3d(x, y, z);
    };
    std::vector<MotionSample> samples;
    const auto count = static_cast<std::size_t>(std::floor(duration * frequency + 1e-9)) + 1;
    samples.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const MotionState truth = motion.at(static_cast<double>(i) / frequency);
        const Eigen::Vector3d rate = truth.rate + errors.rateBias + noise(errors.rateNoise);
        const Eigen::Vector3d acc = truth.acc + errors.accBias + noise(errors.accNoise);
        const Eigen::Vector3d field = truth.field + errors.fieldBias + noise(errors.fieldNoise);
        samples.push_back({truth.t, rate, acc, field, truth});
    }
    return samples;
}

}  // namespace Kavelin::Tests
