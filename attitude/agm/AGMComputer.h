#pragma once

#include <array>
#include <memory>
#include <string>

#include "attitude/agm/AGMEstimator.h"
#include "attitude/agm/ProblemAGM.h"
#include "attitude/solver/KalmanSolver.h"

namespace Kavelin::OrientationInternal {

/// How the versions of the plain estimator differ.
struct AGMVariant {
    double
        accReferenceSign;  // of the accelerometer's reference as it is handed to the model, which negates it
    bool keepsFirstReference;  // hands on the references also when the very first triple fixes them
};

/// Deliberate: this version hands over the reference as it is. The model negates it, the gating does not: the
/// solver corrects towards the opposite of what the gating expects, and the tilt runs away. Without an
/// initialisation period the solver keeps the references of the previous run. Before the first run these are
/// zero and correct nothing.
inline constexpr AGMVariant kAGMVariant5{1.0, false};

/// Prediction and gating agree, and no reference is lost.
inline constexpr AGMVariant kAGMVariant6{-1.0, true};

/// Estimates an attitude from accelerometer, magnetometer and gyroscope. It averages the first two for a
/// while to fix their references; from then on each triple is gated (does the norm, and for the field the
/// angle to gravity, agree with the references as the last attitude turns them?), weighted, and given to one
/// step of the Kalman solver.
///
/// A later version derives from this class, and overrides the stages that differ. Knows neither pins nor
/// host; allocates nothing after `load`. One thread at a time; never throws on a sample, whatever it holds.
class AGMComputer : public AGMEstimator {
public:
    AGMComputer(std::unique_ptr<ProblemAGM> problem, AGMVariant variant);
    AGMComputer(const AGMComputer&) = delete;
    AGMComputer& operator=(const AGMComputer&) = delete;

    bool load(const std::string& fileName) override;
    bool isReady() const override { return ready_; }
    std::string settingsFault() const override { return problem_->fault(); }
    void restart() override;
    void setInitTime(double seconds) override { initTime_ = seconds; }
    bool advance(const AGMSample& sample) override;
    const AGMEstimate& estimate() const override { return estimate_; }

    /// Gives or takes the whole state, for a snapshot. Noise roots and measurements are those of one triple, and what is
    /// copied from the problem's settings is copied again.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(*problem_, clock_, perturbed_, Xhat_, S_, zref_, aRef_, mRef_, initTime_, ready_,
                referencesDone_, solverStarted_, estimate_);
        complete_ = ready_ && problem_->fault().empty();
        takeSettings();
        clearNoise();
    }

protected:
    /// Forgets the run, keeps the settings;
    /// takes "T_setref" as the initialisation time when they come from a file.
    virtual void reset(bool fromFile);

    /// Adds a triple of the initialisation period to the references.
    /// @return whether there is an estimate already.
    virtual bool collect(const AGMSample& sample);

    /// Fixes the references at the end of the period.  @return whether this triple is to be tracked already.
    virtual bool fixReferences(const AGMSample& sample);

    /// Gates a triple, gives it to the solver and fills the estimate.
    virtual void track(const AGMSample& sample);

    /// Hands the references to the solver's next start.
    void handOnReferences();

    /// Noise root and, in `z_`, measurement of each sensor; they set its flag and its part of the estimate.
    void gateAccelerometer(const AGMSample& sample, const Matrix3& R_sensor_ref);
    void gateMagnetometer(const AGMSample& sample, const Matrix3& R_sensor_ref);

    /// Runs one step of the solver with `z_` and the noise roots as they stand,
    /// and gives the state unit norm.
    void correct(const AGMSample& sample);

    /// Fills those parts of the estimate that follow from the state.
    void fillEstimate(const Vector3& accProper_sensor);

    ProblemAGM& problem() { return *problem_; }

    using Matrix4 = Eigen::Matrix<double, 4, 4, Eigen::RowMajor>;
    using Matrix6 = Eigen::Matrix<double, 6, 6, Eigen::RowMajor>;
    using Vector6 = Eigen::Matrix<double, 6, 1>;

    /// Copied from the problem's settings at a reset.
    struct Settings {
        double alphaA = 0.0, alphaM = 0.0, alphaC = 0.0, holdA = 0.0, holdM = 0.0;
        Matrix3 Rddyn, Rdstat;
        Matrix3 rootRddyn;
        Matrix4 Qd;
        bool noiseIsDiagonal = false;
        bool processNoiseIsDiagonal = false;
    };
    /// Time of the run, s.
    struct Clock {
        long long count = 0;  // triples since the last reset
        double dt = 0.0;      // of one triple
        double previous = 0.0, start = 0.0;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(count, previous, start);
        }
    };
    /// When each sensor was last found perturbed, s; -1: never.
    struct Perturbed {
        double acc = -1.0, mag = -1.0;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(acc, mag);
        }
    };
    Settings settings_;
    Clock clock_;
    Perturbed perturbed_;

    // The run.
    Quaternion Xhat_ = Quaternion::Zero();  // reference to sensor by form A: sensor to reference, w first
    Matrix4 S_ = Matrix4::Zero();           // square-root factor of its covariance
    Matrix4 rootQ_ = Matrix4::Zero();
    Matrix6 rootR_ = Matrix6::Zero();
    Vector6 z_ = Vector6::Zero();  // accelerometer, magnetometer, as given to the solver
    Vector6 zref_ = Vector6::Zero();
    Vector6 innovation_ = Vector6::Zero();
    Vector3 aRef_ = Vector3::Zero();  // a sum while references are collected
    Vector3 mRef_ = Vector3::Zero();
    Vector3 aProper_ = Vector3::Zero();  // sensor frame
    double initTime_ = 2.0;
    double processNoiseScale_ = 1.0;  // a factor on Qd, for versions that vary it
    bool ready_ = false, complete_ = false, referencesDone_ = false, solverStarted_ = false;
    AGMEstimate estimate_;

private:
    void takeSettings();
    void clearNoise();
    void beginTriple(double t);
    bool isFieldConsistent(const Vector3& acc, const Vector3& mag, const Vector3& magPredicted) const;
    void setNoise(int sensor, double deviation, double threshold);
    void setPerturbedNoise(int sensor);
    void setNoiseDiagonal(int sensor, const Eigen::Array3d& roots);
    void setProcessNoise();

    std::unique_ptr<ProblemAGM> problem_;
    KalmanSolver solver_;
    AGMVariant variant_;
    KalmanStep step_;  // the constant part: sizes and pointers
    std::array<double*, 4> rowsOfS_, rowsOfRootQ_;
    std::array<double*, 6> rowsOfRootR_;
    const double* rowsOfInput_[2];
    bool isOnlyDiagonal_[2] = {true, true};  // each sensor's block of rootR_ is zero off its diagonal
    bool rootQIsOnlyDiagonal_ = true;
};

}  // namespace Kavelin::OrientationInternal
