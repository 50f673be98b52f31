#pragma once

#include <Eigen/Geometry>
#include <optional>
#include <string>

#include "attitude/agm/AGMEstimator.h"
#include "attitude/agm/ProblemAGM_v8.h"
#include "attitude/detection/RestDetector.h"
#include "attitude/detection/StartAverages.h"
#include "attitude/solver/KalmanSolver.h"

namespace Kavelin::OrientationInternal {

/// Attitude of a sensor unit by an extended Kalman filter that knows the gyroscope's bias.
///
/// A start of some seconds gives the references, and the bias if the unit rests; then the gyroscope turns the
/// quaternion and acceleration and field correct it, each with a noise that grows while its strength differs
/// from its reference. Later rests refresh the bias. Locked by a caller who vouches that the unit does not
/// move, the attitude stands still and the bias is learnt.
///
/// Frames: sensor; earth East, North (magnetic), Up, or the frame of an attitude that was handed in.
/// Quaternions w, x, y, z. m/s^2, rad/s, s; the field in any unit. Long fast motion tilts the estimate, for
/// every acceleration is taken for gravity with white noise. Throws and allocates only in loadSettings;
/// outputs are finite and of unit norm. [layout thread]
class AGMComputer_v8 : public AGMEstimator {
public:
    AGMComputer_v8();
    AGMComputer_v8(const AGMComputer_v8&) = delete;
    AGMComputer_v8& operator=(const AGMComputer_v8&) = delete;

    bool load(const std::string& fileName) override;
    bool isReady() const override { return loaded_; }
    std::string settingsFault() const override { return problem_.fault(); }
    /// An attitude that was handed in, and the lock, stay.
    void restart() override { state_ = State{}; }
    void setInitTime(double seconds) override { startDuration_ = seconds; }
    /// A sample that is not a measurement (see SampleLimits.h) is left out. A time that does not advance
    /// changes nothing; a step is at most 1 s. @return true from the first usable acceleration on.
    bool advance(const AGMSample& sample) override;
    const AGMEstimate& estimate() const override { return estimate_; }

    /// Hands in the attitude (any length but zero, finite) to take at the end of the next start.
    /// @return false, and no change, for one that is not an attitude.
    bool setNextAttitude(const Quaternion& attitude);
    void setLocked(bool locked);
    bool locked() const { return locked_; }

    /// rad/s, sensor frame.
    const Eigen::Vector3d& bias() const { return state_.bias; }
    /// Measured less predicted, relative to the references' lengths: acceleration, field; zeros for a
    /// sensor left out.
    const Eigen::Matrix<double, 6, 1>& innovation() const { return state_.innovation; }
    bool atRest() const { return state_.atRest; }

    /// Gives or takes the whole state, for a snapshot. The estimate follows from it, the noise roots from one triple.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(problem_, loaded_, startDuration_, locked_, nextAttitude_, state_, root_);
        takeSettings();
        fillEstimate();
    }

private:
    enum class Phase { Waiting, Collecting, Tracking };

    // One of the two vector sensors against its reference.
    struct Sensor {
        Eigen::Vector3d reference = Eigen::Vector3d::Zero();  // earth frame, unit length
        double scale = 1.0;                                   // length of the reference as measured
        double still = 0.0;  // s for which the length has matched the reference
        double since = 0.0;  // s since the last usable sample

        template <class Archive>
        void serialize(Archive& archive) {
            archive(reference, scale, still, since);
        }
    };

    struct State {
        Phase phase = Phase::Waiting;
        double time = 0.0;   // s, of the last sample
        double begin = 0.0;  // s, of the first
        StartAverages averages;
        RestDetector rest;
        bool hasAttitude = false;
        bool framedByField = false;  // the first samples' frame has a heading
        Eigen::Quaterniond first =
            Eigen::Quaterniond::Identity();  // that frame, carried on with the gyroscope
        Eigen::Quaterniond attitude = Eigen::Quaterniond::Identity();
        bool headingGiven = false;  // the attitude was handed in: a field that comes late does not turn it
        bool fieldKnown = false;
        Sensor acc;
        Sensor field;
        Eigen::Vector3d bias = Eigen::Vector3d::Zero();
        double biasEvidence = 0.0;  // s of rest that the bias was learnt from
        bool atRest = false;
        Eigen::Vector3d properAcceleration = Eigen::Vector3d::Zero();  // m/s^2, earth frame
        Eigen::Vector3d fieldPerturbation = Eigen::Vector3d::Zero();   // unit of the field, sensor frame
        Eigen::Matrix<double, 6, 1> innovation = Eigen::Matrix<double, 6, 1>::Zero();

        template <class Archive>
        void serialize(Archive& archive) {
            archive(phase, time, begin, averages, rest, hasAttitude, framedByField, first, attitude,
                    headingGiven, fieldKnown, acc, field, bias, biasEvidence, atRest, properAcceleration,
                    fieldPerturbation, innovation);
        }
    };

    // A matrix as the solver wants it.
    template <int R, int C>
    struct Rows {
        double elements[R][C] = {};
        double* pointers[R];
        Rows() {
            for (int i = 0; i < R; ++i) pointers[i] = elements[i];
        }
        template <class Archive>
        void serialize(Archive& archive) {
            for (auto& row : elements) {
                for (double& element : row) archive(element);
            }
        }
        void setDiagonal(double value) {
            for (int i = 0; i < R; ++i) {
                for (int k = 0; k < C; ++k) elements[i][k] = i == k ? value : 0.0;
            }
        }
    };

    struct Measurement;

    void takeSettings();
    void begin(double t, const Measurement& sample);
    void collect(double dt, const Measurement& sample);
    void showRunningFrame();
    void startTracking();
    void takeReferences();
    void track(double dt, const Measurement& sample);
    void weigh(double dt, const Measurement& sample, double* z);
    void correct(double dt, const Eigen::Vector3d& turning, const Measurement& sample);
    void takeCorrected(const Eigen::Quaterniond& q);
    void takeLateField(const Eigen::Vector3d& field);
    void watchRest(double dt, const Measurement& sample);
    void learnBias(double dt, const Measurement& sample);
    void updateResiduals(const Measurement& sample);
    bool fillEstimate();
    static double noiseOf(Sensor& sensor, double strength, double dt, double alpha, double least,
                          double moving, double growth, double hold);

    ProblemAGM_v8 problem_;
    KalmanSolver solver_;
    bool loaded_ = false;
    bool usable_ = false;
    double processNoise_ = 0.0;  // 1/s, variance that a quaternion's element gains
    double startDuration_ = 2.0;
    bool locked_ = false;
    std::optional<Eigen::Quaterniond> nextAttitude_;
    State state_;
    AGMEstimate estimate_;
    Rows<4, 4> root_;  // S, the covariance is S^T S
    Rows<4, 4> rootQ_;
    Rows<6, 6> rootR_;
};

}  // namespace Kavelin::OrientationInternal
