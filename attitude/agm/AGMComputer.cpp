#include "attitude/agm/AGMComputer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace Kavelin::OrientationInternal {

namespace {

constexpr double kFirstStep = 0.01;  // s, taken for the first triple, which has none before it

template <typename Square>
std::array<double*, Square::RowsAtCompileTime> rowsOf(Square& matrix) {
    std::array<double*, Square::RowsAtCompileTime> rows;
    for (int i = 0; i < Square::RowsAtCompileTime; ++i) rows[static_cast<size_t>(i)] = &matrix(i, 0);
    return rows;
}

bool isDiagonalMatrix(const Matrix& matrix) { return matrix.isDiagonal(0.0); }

// Reference to sensor frame: the transpose of the matrix below, from other elements of the same quaternion.
Matrix3 rotationToSensor(const Quaternion& q) {
    const double w = q[0], x = q[1], y = q[2], z = q[3];
    Matrix3 rotation;
    rotation << 2 * (w * w + x * x) - 1, 2 * (x * y + w * z), 2 * (x * z - w * y),  //
        2 * (x * y - w * z), 2 * (w * w + y * y) - 1, 2 * (y * z + w * x),          //
        2 * (x * z + w * y), 2 * (y * z - w * x), 2 * (w * w + z * z) - 1;
    return rotation;
}

// Sensor to reference frame.
Matrix3 rotationToReference(const Quaternion& q) {
    const double w = q[0], x = q[1], y = q[2], z = q[3];
    Matrix3 rotation;
    rotation << 1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y),  //
        2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x),          //
        2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y);
    return rotation;
}

}  // namespace

AGMComputer::AGMComputer(std::unique_ptr<ProblemAGM> problem, AGMVariant variant)
    : problem_(std::move(problem)),
      solver_(problem_.get()),
      variant_(variant),
      rowsOfS_(rowsOf(S_)),
      rowsOfRootQ_(rowsOf(rootQ_)),
      rowsOfRootR_(rowsOf(rootR_)),
      rowsOfInput_{&dt_, nullptr} {
    step_ = {.n = 4,
             .m = 6,
             .x = Xhat_.data(),
             .S = rowsOfS_.data(),
             .rootQ = rowsOfRootQ_.data(),
             .rootR = rowsOfRootR_.data(),
             .z = z_.data(),
             .zref = zref_.data(),
             .u = rowsOfInput_,
             .innovation = innovation_.data()};
}

bool AGMComputer::load(const std::string& fileName) {
    if (!problem_->readSettings(fileName, true)) return false;
    solver_.init(4, 6);
    reset(true);
    return true;
}

// Deliberate: without settings a restart would run on zeros and never load a file, so it does nothing.
void AGMComputer::restart() {
    if (ready_) reset(false);
}

void AGMComputer::reset(bool fromFile) {
    count_ = 0;
    alphaA_ = problem_->alpha_A();
    alphaC_ = problem_->alpha_C();
    alphaM_ = problem_->alpha_M();
    holdA_ = problem_->T_A();
    holdM_ = problem_->T_M();
    if (fromFile) initTime_ = problem_->T_setref();
    tAccPerturbed_ = tMagPerturbed_ = -1.0;
    aRef_.setZero();
    mRef_.setZero();
    aProper_.setZero();
    rootQ_.setZero();
    rootR_.setZero();
    isOnlyDiagonal_[0] = isOnlyDiagonal_[1] = rootQIsOnlyDiagonal_ = true;
    // Deliberate: references already handed on outlive a restart, whatever they hold. A version that loses
    // those of a start without duration goes on with the old ones.
    estimate_ = AGMEstimate();
    processNoiseScale_ = 1.0;
    referencesDone_ = solverStarted_ = false;
    ready_ = true;
    complete_ = problem_->fault().empty();
    if (!complete_) return;
    Xhat_ = problem_->initialState().reshaped<Eigen::RowMajor>();
    S_ = problem_->initialCovariance();
    Rddyn_ = problem_->Rddyn();
    rootRddyn_ = Rddyn_.array().sqrt();
    Rdstat_ = problem_->Rdstat();
    Qd_ = problem_->Qd();
    noiseIsDiagonal_ = isDiagonalMatrix(Rddyn_) && isDiagonalMatrix(Rdstat_);
    processNoiseIsDiagonal_ = isDiagonalMatrix(Qd_);
}

bool AGMComputer::advance(const AGMSample& sample) {
    if (!complete_) return false;
    beginTriple(sample.t);
    if (sample.t - tStart_ < initTime_) return collect(sample);
    if (!referencesDone_ && !fixReferences(sample)) return false;
    track(sample);
    return true;
}

void AGMComputer::beginTriple(double t) {
    ++count_;
    dt_ = t - tPrevious_;
    tPrevious_ = t;
    if (count_ > 1) return;
    dt_ = kFirstStep;
    tStart_ = t;
}

// Deliberate: sum and reference are one: a period made longer while the filter runs adds to the finished
// references.
bool AGMComputer::collect(const AGMSample& sample) {
    aRef_ += sample.acc;
    mRef_ += sample.mag;
    return false;
}

bool AGMComputer::fixReferences(const AGMSample& sample) {
    referencesDone_ = true;
    const bool collected = count_ > 1;
    if (collected) {
        aRef_ /= static_cast<double>(count_ - 1);
        mRef_ /= static_cast<double>(count_ - 1);
    } else {
        aRef_ = sample.acc;
        mRef_ = sample.mag;
    }
    if (collected || variant_.keepsFirstReference) handOnReferences();
    return collected;
}

void AGMComputer::handOnReferences() { zref_ << variant_.accReferenceSign * aRef_, mRef_; }

void AGMComputer::track(const AGMSample& sample) {
    const Matrix3 R_sensor_ref = rotationToSensor(Xhat_);
    gateAccelerometer(sample, R_sensor_ref);
    gateMagnetometer(sample, R_sensor_ref);
    setProcessNoise();
    correct(sample);
    fillEstimate(aProper_);
}

void AGMComputer::gateAccelerometer(const AGMSample& sample, const Matrix3& R_sensor_ref) {
    const Vector3 predicted = R_sensor_ref * aRef_;
    const double deviation = std::abs(sample.acc.norm() - predicted.norm());
    aProper_ = sample.acc - predicted;
    if (deviation > alphaA_) tAccPerturbed_ = sample.t;
    estimate_.accFlag = sample.t - tAccPerturbed_ < holdA_ && tAccPerturbed_ >= 0.0;
    if (estimate_.accFlag) {
        z_.head<3>() = predicted;
        setPerturbedNoise(0);
    } else {
        z_.head<3>() = sample.acc;
        setNoise(0, deviation, alphaA_);
    }
}

void AGMComputer::gateMagnetometer(const AGMSample& sample, const Matrix3& R_sensor_ref) {
    const Vector3 predicted = R_sensor_ref * mRef_;
    const double deviation = std::abs(sample.mag.norm() - predicted.norm());
    estimate_.magPerturbation_sensor = sample.mag - predicted;
    if (deviation > alphaM_) tMagPerturbed_ = sample.t;
    const bool held = sample.t - tMagPerturbed_ < holdM_ && tMagPerturbed_ >= 0.0;
    estimate_.magFlag = held || !isFieldConsistent(z_.head<3>(), sample.mag, predicted);
    if (estimate_.magFlag) {
        z_.tail<3>() = predicted;
        setPerturbedNoise(1);
    } else {
        z_.tail<3>() = sample.mag;
        setNoise(1, deviation, alphaM_);
    }
}

// Is the field as far from gravity as expected? A comparison with a not-a-number says no.
bool AGMComputer::isFieldConsistent(const Vector3& acc, const Vector3& mag,
                                    const Vector3& magPredicted) const {
    const Vector3 expected = acc.cross(magPredicted);
    return std::abs(expected.dot(expected) - expected.dot(acc.cross(mag))) < alphaC_;
}

// Noise root of an unperturbed sensor: element by element, from Rdstat at no deviation to Rddyn at the
// threshold.
void AGMComputer::setNoise(int sensor, double deviation, double threshold) {
    const double share = deviation / threshold;
    if (noiseIsDiagonal_ && std::isfinite(share)) {
        const Eigen::Array3d least = Rdstat_.diagonal();
        setNoiseDiagonal(sensor, (least + (Rddyn_.diagonal().array() - least) * share).sqrt());
    } else {
        isOnlyDiagonal_[sensor] = false;
        rootR_.block<3, 3>(3 * sensor, 3 * sensor) =
            (Rdstat_.array() + (Rddyn_ - Rdstat_).array() * share).sqrt();
    }
}

void AGMComputer::setPerturbedNoise(int sensor) {
    if (noiseIsDiagonal_) return setNoiseDiagonal(sensor, rootRddyn_.diagonal());
    rootR_.block<3, 3>(3 * sensor, 3 * sensor) = rootRddyn_;
}

// The zeros around are left as they are where they are there: the solver reads what was written long ago at
// once.
void AGMComputer::setNoiseDiagonal(int sensor, const Eigen::Array3d& roots) {
    auto block = rootR_.block<3, 3>(3 * sensor, 3 * sensor);
    if (!isOnlyDiagonal_[sensor]) block.setZero();
    isOnlyDiagonal_[sensor] = true;
    block.diagonal() = roots;
}

void AGMComputer::setProcessNoise() {
    const double scale = dt_ * dt_ * processNoiseScale_;
    if (processNoiseIsDiagonal_ && std::isfinite(scale)) {
        if (!rootQIsOnlyDiagonal_) rootQ_.setZero();
        rootQIsOnlyDiagonal_ = true;
        rootQ_.diagonal() = (Qd_.diagonal().array() * scale / 4.0).sqrt();
    } else {
        rootQIsOnlyDiagonal_ = false;
        rootQ_ = (Qd_.array() * scale / 4.0).sqrt();
    }
}

void AGMComputer::correct(const AGMSample& sample) {
    rowsOfInput_[1] = sample.rate.data();
    step_.started = solverStarted_ ? 1 : 0;
    solver_.step(step_);
    solverStarted_ = true;
    Xhat_ /= std::sqrt(Xhat_.dot(Xhat_));
}

void AGMComputer::fillEstimate(const Vector3& accProper_sensor) {
    estimate_.q_ref_sensor = Xhat_;
    estimate_.R_ref_sensor = rotationToReference(Xhat_);
    estimate_.accProper_ref = estimate_.R_ref_sensor * accProper_sensor;
}

}  // namespace Kavelin::OrientationInternal
