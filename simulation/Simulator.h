#pragma once

#include <cstdint>

#include "attitude/rotation/RotationTypes.h"
#include "simulation/Random.h"
#include "simulation/SensorFaults.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::Quaternion;
using OrientationInternal::Vector3;

/// What to simulate. Every value is in the unit it is named with; the defaults are a hand-held unit
/// of middling quality.
struct SimulationOptions {
    std::uint64_t seed = 1;
    double seconds = 60.0;
    double rate = 100.0;                  ///< rows a second
    double firstRest = 4.0;               ///< s of rest at the start
    bool rests = true;                    ///< false: full motion from the first rest to the end
    double rateRms = 1.5;                 ///< rad/s, each axis, while in full motion
    double accelerationRms = 1.0;         ///< m/s^2, each axis, while in full motion
    double gravity = 9.81;                ///< m/s^2
    double fieldNorm = 48.0;              ///< uT
    double dipDegrees = 65.0;             ///< of the field below the horizon
    double gyroNoise = 0.003;             ///< rad/s, standard deviation of a row
    double gyroBias = 0.01;               ///< rad/s, bound of each axis' constant bias
    double accelerometerNoise = 0.05;     ///< m/s^2
    double magnetometerNoise = 0.3;       ///< uT
    double burst = 15.0;                  ///< m/s^2, greatest peak of an acceleration burst; 0: none
    double disturbance = 25.0;            ///< uT, greatest added field of a magnetic disturbance; 0: none
    double jitter = 0.0;                  ///< share of a row's time by which its time stamp is off at most
    double missing = 0.0;                 ///< share of the rows that are lost
    std::uint64_t magnetometerEvery = 1;  ///< rows from one field sample to the next
    FaultOptions faults;
};

/// One row: what the sensors say, and the truth.
struct SimulatedRow : SensorValues {
    double t = 0.0;  ///< s
    bool hasField = true;
    bool isLost = false;  ///< not to be written
    Quaternion attitude;  ///< w, x, y, z, sensor to earth (East, magnetic North, Up); unit norm
};

/// Low-passed white noise of variance 1, smooth enough to pass for a hand's motion: two equal poles.
class SmoothNoise {
public:
    /// @param timeConstant s, more than 0.  @param step s between two values.
    SmoothNoise(double timeConstant, double step);
    Vector3 next(Random& random);

private:
    double gain_;
    double scale_;
    Vector3 first_ = Vector3::Zero();
    Vector3 second_ = Vector3::Zero();
};

/// An amplitude that goes on and off: off for a while, up within a ramp, on for a while, down, and so on.
class Episodes {
public:
    struct Lengths {
        double offFrom, offTo;  ///< s
        double onFrom, onTo;    ///< s
        double ramp;            ///< s, part of the time on
    };
    Episodes(const Lengths& lengths, double firstOff) : lengths_(lengths), switchTime_(firstOff) {}

    /// 0 while off, up to 1 while on; with continuous slope.
    double at(double t, Random& random);
    /// True when the last call of `at` began a new episode.
    bool hasBegun() const { return hasBegun_; }

private:
    Lengths lengths_;
    bool isOn_ = false;
    bool hasBegun_ = false;
    double since_ = 0.0;
    double switchTime_;
};

/// Seeded smooth random motion with rests, and the error model of an inertial unit. Same options, same bits,
/// on any machine with IEEE arithmetic: nothing but + - * / and square roots is used.
class Simulator {
public:
    /// Raises Poco::InvalidArgumentException for an impossible rate, noise or share.
    explicit Simulator(const SimulationOptions& options);

    /// Advances by one row.  @return false when the time is over.
    bool next(SimulatedRow& row);

private:
    void move(double t);
    Vector3 burst(double t);
    Vector3 disturbance(double t);
    void sense(double t, SensorValues& values);
    Vector3 noise(double deviation);
    Vector3 direction();

    SimulationOptions options_;
    Random random_;
    std::uint64_t row_ = 0;
    double step_;
    SensorFaults faults_;
    Episodes motion_;
    Episodes bursts_;
    Episodes disturbances_;
    SmoothNoise turning_;
    SmoothNoise shaking_;
    SmoothNoise swaying_;
    double strength_ = 1.0;
    Vector3 burstPeak_ = Vector3::Zero();
    Vector3 disturbancePeak_ = Vector3::Zero();
    Vector3 bias_;
    Vector3 fieldEarth_;
    Vector3 rate_ = Vector3::Zero();
    Vector3 accelerationEarth_ = Vector3::Zero();
    Quaternion attitude_;
};

}  // namespace Kavelin::RecordingIO
