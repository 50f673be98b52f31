#pragma once

#include <Eigen/Geometry>
#include <optional>

#include "attitude/rotation/RotationTypes.h"
#include "attitude/so3/ErrorCovariance.h"
#include "attitude/so3/FieldCorrection.h"
#include "attitude/so3/LevelStart.h"
#include "attitude/so3/NominalState.h"
#include "attitude/so3/RestWatch.h"
#include "attitude/so3/SO3Settings.h"
#include "attitude/so3/SampleClock.h"
#include "attitude/so3/StepSums.h"

namespace Kavelin::OrientationInternal {

/// Attitude of a sensor unit from acceleration, rate and, where there is one, magnetic field: an error-state
/// Kalman filter over attitude, velocity, position and the errors of the sensors.
///
/// The gyroscope is integrated. Position and velocity are held near zero, as a hand cannot let them run away.
/// This reveals the tilt error even in motion, without relying on single accelerations, and with it the
/// biases and the gyroscope's scale. The field is believed by evidence: see SO3::FieldCorrection. Equations,
/// by the step names used here, and sources: docs/so3.md.
///
/// Frames: sensor; earth = East, North (magnetic), Up. Quaternions w, x, y, z, Hamilton. m/s^2, rad/s, s; the
/// field in any constant unit. Never throws, never allocates; every output is finite and of unit norm
/// whatever comes in. [layout thread]
class SO3AttitudeComputer {
public:
    using Settings = SO3::Settings;

    /// Takes one sample set. @param t s. @param acc m/s^2, @param rate rad/s, @param field sensor frame. A
    /// value that is not finite, or that a sensor cannot give, counts as missing: without acceleration or
    /// rate, the elapsed time is added to the next sample. A time that does not advance changes nothing.
    /// @return true when there is an attitude: from the first sample with acceleration and rate on.
    bool advance(double t, const Eigen::Vector3d& acc, const Eigen::Vector3d& rate,
                 const Eigen::Vector3d& field);

    /// Forgets everything but the settings and an attitude that was handed in and not taken yet.
    void reset() { state_ = State{}; }
    /// Hands in the attitude (any length but zero, finite) to take at the end of the next start phase. The
    /// earth frame is its own from then on: a field that comes later does not turn it.
    /// @return false, and no change, for one that is not an attitude.
    bool setNextAttitude(const Quaternion& attitude);
    /// Changes the settings from the next sample on, without a reset.
    void setSettings(const Settings& settings) { settings_ = settings; }

    /// Sensor to earth; unit norm.
    Eigen::Quaterniond attitude() const { return state_.toGiven * state_.nominal.attitude; }
    /// rad/s, sensor frame.
    const Eigen::Vector3d& bias() const { return state_.nominal.bias; }
    /// m/s^2, sensor frame.
    const Eigen::Vector3d& accBias() const { return state_.nominal.accBias; }
    /// Unit of the field, sensor frame; 0 while no field is known.
    Eigen::Vector3d hardIron() const { return state_.field.hardIron(); }
    /// Linear acceleration, m/s^2, earth frame, of the last usable sample.
    Eigen::Vector3d linearAcceleration() const { return state_.toGiven * state_.linearAcceleration; }
    /// rad, standard deviations.
    double tiltDeviation() const;
    /// At most pi; exactly pi while no field is known and no attitude was handed in.
    double headingDeviation() const;
    bool atRest() const { return state_.rest.atRest(); }
    /// Whether the latest field was unusable.
    bool fieldDisturbed() const { return state_.field.disturbed(); }
    const SO3::ErrorCovariance& covariance() const { return state_.covariance; }

    /// Gives or takes the whole state, for a snapshot; the settings stay.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(nextAttitude_, state_);
    }

private:
    enum class Phase { Waiting, Starting, Running };

    struct State {
        Phase phase = Phase::Waiting;
        bool hasRun = false;
        bool hasTime = false;
        double time = 0.0;  // s, of the last sample
        SO3::NominalState nominal;
        SO3::ErrorCovariance covariance;
        SO3::SampleClock clock;
        SO3::RestWatch rest;
        Eigen::Vector3d lastRate = Eigen::Vector3d::Zero();
        SO3::LevelStart start;
        SO3::StepSums step;
        SO3::FieldWindow window;
        double misfit = 0.0;  // smoothed square of the position, relative to what the model expects
        SO3::FieldCorrection field;
        // A turn about Up, from the frame of magnetic north to that of the attitude handed in.
        Eigen::Quaterniond toGiven = Eigen::Quaterniond::Identity();
        bool isGiven = false;
        Eigen::Vector3d linearAcceleration = Eigen::Vector3d::Zero();

        template <class Archive>
        void serialize(Archive& archive) {
            archive(phase, hasRun, hasTime, time, nominal, covariance, clock, rest, lastRate, start, step,
                    window, misfit, field, toGiven, isGiven, linearAcceleration);
        }
    };

    struct Sample {
        double dt;
        const Eigen::Vector3d& acc;
        const Eigen::Vector3d& rate;
        const Eigen::Vector3d* field;  // nullptr: none
    };

    double passTime(double t);
    bool start(const Sample& sample);
    Eigen::Vector3d bridgeGap(const Sample& sample, bool isLong);
    void findLevel(const Sample& sample);
    void beginRun();
    void takeGivenAttitude();
    void integrate(const Sample& sample, const Eigen::Vector3d& rate);
    void closeStep();
    void closeWindow();
    double relaxation(double duration);
    void addNoise(const SO3::StepSums& step, double relaxed);

    Settings settings_;
    std::optional<Eigen::Quaterniond> nextAttitude_;
    State state_;
};

}  // namespace Kavelin::OrientationInternal
