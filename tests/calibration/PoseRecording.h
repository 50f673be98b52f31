#pragma once

#include <cmath>
#include <vector>

#include "attitude/rotation/ExponentialMap.h"
#include "calibration/model/AffineModel.h"
#include "calibration/model/SensorRecording.h"
#include "simulation/Random.h"

namespace Kavelin::Calibration {

/// Errors of the sensors that a test puts in, as the calibration that takes them out.
struct InertialFaults {
    AffineModel acceleration, rate;
    double accelerationNoise = 0.02;  ///< m/s^2
    double rateNoise = 0.002;         ///< rad/s
};

/// A unit that is put down in one pose after the other, in closed form: each turn is about one axis, begins and
/// ends slowly, and takes the time of a hand.
class PoseRecording {
public:
    static constexpr double kGravity = 9.80665;

    /// @param step s, between samples
    PoseRecording(const InertialFaults& faults, std::uint64_t seed, double step = 0.02)
        : faults_(faults), random_(seed), step_(step) {}

    Eigen::Vector3d direction() {
        return Eigen::Vector3d(random_.normal(), random_.normal(), random_.normal()).normalized();
    }
    RecordingIO::Random& random() { return random_; }
    double time() const { return t_; }

    void rest(double seconds) {
        for (const double end = t_ + seconds; t_ < end; t_ += step_) add(Eigen::Vector3d::Zero());
    }
    /// Turns by a rotation vector (rad, sensor frame) within 2 s.
    void turn(const Eigen::Vector3d& rotation) {
        const int samples = static_cast<int>(std::lround(2.0 / step_));
        const Eigen::Quaterniond before = q_;
        for (int i = 1; i < samples; ++i, t_ += step_) {
            const double phase = 2.0 * M_PI * i / samples;
            q_ = before * OrientationInternal::quaternionFromRotationVector(
                              rotation * (phase - std::sin(phase)) / (2.0 * M_PI));
            add(rotation * (1.0 - std::cos(phase)) / (samples * step_));
        }
        q_ = before * OrientationInternal::quaternionFromRotationVector(rotation);
    }
    /// Turns so that `up` (sensor frame) points up.
    void turnUp(const Eigen::Vector3d& up) {
        const Eigen::AngleAxisd turn(
            Eigen::Quaterniond::FromTwoVectors(up, q_.conjugate() * Eigen::Vector3d::UnitZ()));
        this->turn(turn.angle() * turn.axis());
    }

    SensorRecording recording;

private:
    void add(const Eigen::Vector3d& rate) {
        const Eigen::Vector3d up = q_.conjugate() * Eigen::Vector3d(0.0, 0.0, kGravity);
        put(recording.acceleration, up, faults_.acceleration, faults_.accelerationNoise);
        put(recording.rate, rate, faults_.rate, faults_.rateNoise);
    }
    void put(SensorTrack& track, const Eigen::Vector3d& truth, const AffineModel& fault, double noise) {
        const Eigen::Vector3d by(random_.normal(), random_.normal(), random_.normal());
        track.times.push_back(t_);
        track.values.push_back(fault.matrix.inverse() * truth + fault.offset + noise * by);
    }

    InertialFaults faults_;
    RecordingIO::Random random_;
    double step_;
    double t_ = 0.0;
    Eigen::Quaterniond q_ = Eigen::Quaterniond::Identity();
};

}  // namespace Kavelin::Calibration
