#pragma once

#include <Eigen/Geometry>

#include "attitude/detection/RestDetector.h"
#include "attitude/spherical/MagneticHeading.h"

namespace Kavelin::OrientationInternal {

/// Attitude of a sensor unit from acceleration, rate and, where there is one, magnetic field.
///
/// The gyroscope is integrated into a frame I that stands almost still. Seen from there gravity and magnetic
/// north are almost constant whatever the unit does, so both can be low-passed for long, as vectors on a
/// sphere, without lag from the motion; the attitude is the frame made of the two. The gyroscope's bias is
/// learnt at rest, and slowly from gravity.
///
/// Frames: B sensor, I the integrated one, E earth = East, North (magnetic), Up. Quaternions w, x, y, z,
/// Hamilton. Units m/s^2, rad/s, s; the field in any constant unit. Without a field the heading is relative
/// to the sensor's x axis at the start. Without any rest the bias stays unknown: in slow motion its error
/// then grows without bound. Never throws, never allocates; every output is finite and of unit norm whatever
/// comes in. [layout thread]
class SphericalAttitudeComputer {
public:
    struct Settings {
        double gravityTimeConstant = 1.07;  ///< s, of each of the three low-pass stages of gravity
        double fieldNoise = MagneticHeading::kDefaultFieldNoise;  ///< rad sqrt(s)
        RestDetector::Settings rest;
    };

    SphericalAttitudeComputer() : SphericalAttitudeComputer(Settings{}) {}
    explicit SphericalAttitudeComputer(const Settings& settings) : settings_(settings) {}

    /// Takes one sample set. @param t s. @param acc m/s^2 and @param rate rad/s and @param field sensor
    /// frame; a field that is not finite, or zero, counts as missing. A time that does not advance changes
    /// nothing; a step is at most 1 s.
    /// @return true when there is an attitude: from the first usable acceleration on.
    bool advance(double t, const Eigen::Vector3d& acc, const Eigen::Vector3d& rate,
                 const Eigen::Vector3d& field);

    /// Forgets everything but the settings.
    void reset() { state_ = State{}; }
    /// Changes the settings from the next sample on, without a reset.
    void setSettings(const Settings& settings) { settings_ = settings; }

    /// Sensor to earth; unit norm, and its sign never jumps.
    const Eigen::Quaterniond& attitude() const { return state_.attitude; }
    /// rad/s, sensor frame.
    const Eigen::Vector3d& bias() const { return state_.bias; }
    /// Linear acceleration, m/s^2, earth frame, of the last usable sample.
    const Eigen::Vector3d& properAcceleration() const { return state_.properAcceleration; }
    bool atRest() const { return state_.atRest; }
    bool fieldDisturbed() const { return state_.heading.disturbed(); }

    /// Gives or takes the whole state, for a snapshot; the settings stay.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(state_);
    }

private:
    struct State {
        bool started = false;
        double time = 0.0;                                          // s, of the last sample
        double elapsed = 0.0;                                       // s, since the start
        double restLearning = 0.0;                                  // s of rest, up to a bound
        double sinceField = 0.0;                                    // s, since the last field
        Eigen::Quaterniond q_I_B = Eigen::Quaterniond::Identity();  // body to I
        Eigen::Vector3d bias = Eigen::Vector3d::Zero();             // rad/s
        Eigen::Vector3d low1 = Eigen::Vector3d::Zero();             // gravity in I, stage by stage
        Eigen::Vector3d low2 = Eigen::Vector3d::Zero();
        Eigen::Vector3d low3 = Eigen::Vector3d::Zero();
        double gravity = 0.0;                              // |low3|
        Eigen::Vector3d up = Eigen::Vector3d::UnitZ();     // in I
        Eigen::Vector3d north = Eigen::Vector3d::UnitY();  // in I, normal to up
        RestDetector rest;
        MagneticHeading heading;
        bool atRest = false;
        Eigen::Vector3d properAcceleration = Eigen::Vector3d::Zero();
        Eigen::Quaterniond attitude = Eigen::Quaterniond::Identity();

        template <class Archive>
        void serialize(Archive& archive) {
            archive(started, time, elapsed, restLearning, sinceField, q_I_B, bias, low1, low2, low3, gravity,
                    up, north, rest, heading, atRest, properAcceleration, attitude);
        }
    };

    bool start(double t, const Eigen::Vector3d& acc, const Eigen::Vector3d& rate,
               const Eigen::Vector3d& field);
    void propagate(double dt, const Eigen::Vector3d& rate);
    bool filterGravity(double dt, const Eigen::Vector3d& acc_I, Eigen::Vector3d& up);
    void learnBias(double dt, const Eigen::Vector3d& rate, const Eigen::Matrix3d& R_I_B,
                   const Eigen::Vector3d& up);
    void lean(const Eigen::Vector3d& up);
    void correctHeading(double dt, double rateSquared, const Eigen::Matrix3d& R_I_B,
                        const Eigen::Vector3d& field);
    void compose(const Eigen::Vector3d* acc_I);

    Settings settings_;
    State state_;
};

}  // namespace Kavelin::OrientationInternal
