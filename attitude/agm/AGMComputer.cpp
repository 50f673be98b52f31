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
      rowsOfInput_{&clock_.dt, nullptr} {
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
    solver_.init(4, 6);
}

bool AGMComputer::load(const std::string& fileName) {
    if (!problem_->readSettings(fileName, true)) return false;
    reset(true);
    return true;
}

// Deliberate: without settings a restart would run on zeros and never load a file, so it does nothing.
void AGMComputer::restart() {
    if (ready_) reset(false);
}

void AGMComputer::reset(bool fromFile) {
    clock_.count = 0;
    if (fromFile) initTime_ = problem_->T_setref();
    perturbed_ = {};
    aRef_.setZero();
    mRef_.setZero();
    aProper_.setZero();
    clearNoise();
    // Deliberate: references already handed to the solver outlive a restart, whatever they hold. After a
    // start without duration, a version that does not hand on new ones goes on with these.
    estimate_ = AGMEstimate();
    processNoiseScale_ = 1.0;
    referencesDone_ = solverStarted_ = false;
    ready_ = true;
    complete_ = problem_->fault().empty();
    takeSettings();
    if (!complete_) return;
    Xhat_ = problem_->initialState().reshaped<Eigen::RowMajor>();
    S_ = problem_->initialCovariance();
}

void AGMComputer::takeSettings() {
    settings_.alphaA = problem_->alpha_A();
    settings_.alphaC = problem_->alpha_C();
    settings_.alphaM = problem_->alpha_M();
    settings_.holdA = problem_->T_A();
    settings_.holdM = problem_->T_M();
    if (!complete_) return;
    settings_.Rddyn = problem_->Rddyn();
    settings_.rootRddyn = settings_.Rddyn.array().sqrt();
    settings_.Rdstat = problem_->Rdstat();
    settings_.Qd = problem_->Qd();
    settings_.noiseIsDiagonal = isDiagonalMatrix(settings_.Rddyn) && isDiagonalMatrix(settings_.Rdstat);
    settings_.processNoiseIsDiagonal = isDiagonalMatrix(settings_.Qd);
}

void AGMComputer::clearNoise() {
    rootQ_.setZero();
    rootR_.setZero();
    isOnlyDiagonal_[0] = isOnlyDiagonal_[1] = rootQIsOnlyDiagonal_ = true;
}

bool AGMComputer::advance(const AGMSample& sample) {
    if (!complete_) return false;
    beginTriple(sample.t);
    if (sample.t - clock_.start < initTime_) return collect(sample);
    if (!referencesDone_ && !fixReferences(sample)) return false;
    track(sample);
    return true;
}

void AGMComputer::beginTriple(double t) {
    ++clock_.count;
    clock_.dt = t - clock_.previous;
    clock_.previous = t;
    if (clock_.count > 1) return;
    clock_.dt = kFirstStep;
    clock_.start = t;
}

// Deliberate: sum and reference share one variable, so a period made longer while the filter runs adds
// to the finished references.
bool AGMComputer::collect(const AGMSample& sample) {
    aRef_ += sample.acc;
    mRef_ += sample.mag;
    return false;
}

bool AGMComputer::fixReferences(const AGMSample& sample) {
    referencesDone_ = true;
    const bool collected = clock_.count > 1;
    if (collected) {
        aRef_ /= static_cast<double>(clock_.count - 1);
        mRef_ /= static_cast<double>(clock_.count - 1);
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
    if (deviation > settings_.alphaA) perturbed_.acc = sample.t;
    estimate_.accFlag = sample.t - perturbed_.acc < settings_.holdA && perturbed_.acc >= 0.0;
    if (estimate_.accFlag) {
        z_.head<3>() = predicted;
        setPerturbedNoise(0);
    } else {
        z_.head<3>() = sample.acc;
        setNoise(0, deviation, settings_.alphaA);
    }
}

void AGMComputer::gateMagnetometer(const AGMSample& sample, const Matrix3& R_sensor_ref) {
    const Vector3 predicted = R_sensor_ref * mRef_;
    const double deviation = std::abs(sample.mag.norm() - predicted.norm());
    estimate_.magPerturbation_sensor = sample.mag - predicted;
    if (deviation > settings_.alphaM) perturbed_.mag = sample.t;
    const bool held = sample.t - perturbed_.mag < settings_.holdM && perturbed_.mag >= 0.0;
    estimate_.magFlag = held || !isFieldConsistent(z_.head<3>(), sample.mag, predicted);
    if (estimate_.magFlag) {
        z_.tail<3>() = predicted;
        setPerturbedNoise(1);
    } else {
        z_.tail<3>() = sample.mag;
        setNoise(1, deviation, settings_.alphaM);
    }
}

// Is the angle between field and gravity as expected? A comparison with NaN says no.
bool AGMComputer::isFieldConsistent(const Vector3& acc, const Vector3& mag,
                                    const Vector3& magPredicted) const {
    const Vector3 expected = acc.cross(magPredicted);
    return std::abs(expected.dot(expected) - expected.dot(acc.cross(mag))) < settings_.alphaC;
}

// Noise root of an unperturbed sensor: element by element,
// from Rdstat at no deviation to Rddyn at the threshold.
void AGMComputer::setNoise(int sensor, double deviation, double threshold) {
    const double share = deviation / threshold;
    if (settings_.noiseIsDiagonal && std::isfinite(share)) {
        const Eigen::Array3d least = settings_.Rdstat.diagonal();
        setNoiseDiagonal(sensor, (least + (settings_.Rddyn.diagonal().array() - least) * share).sqrt());
    } else {
        isOnlyDiagonal_[sensor] = false;
        rootR_.block<3, 3>(3 * sensor, 3 * sensor) =
            (settings_.Rdstat.array() + (settings_.Rddyn - settings_.Rdstat).array() * share).sqrt();
    }
}

void AGMComputer::setPerturbedNoise(int sensor) {
    if (settings_.noiseIsDiagonal) return setNoiseDiagonal(sensor, settings_.rootRddyn.diagonal());
    rootR_.block<3, 3>(3 * sensor, 3 * sensor) = settings_.rootRddyn;
}

// Zeros that are already off the diagonal are not written again: reading a value just written would make the
// solver wait for it.
void AGMComputer::setNoiseDiagonal(int sensor, const Eigen::Array3d& roots) {
    auto block = rootR_.block<3, 3>(3 * sensor, 3 * sensor);
    if (!isOnlyDiagonal_[sensor]) block.setZero();
    isOnlyDiagonal_[sensor] = true;
    block.diagonal() = roots;
}

void AGMComputer::setProcessNoise() {
    const double scale = clock_.dt * clock_.dt * processNoiseScale_;
    if (settings_.processNoiseIsDiagonal && std::isfinite(scale)) {
        if (!rootQIsOnlyDiagonal_) rootQ_.setZero();
        rootQIsOnlyDiagonal_ = true;
        rootQ_.diagonal() = (settings_.Qd.diagonal().array() * scale / 4.0).sqrt();
    } else {
        rootQIsOnlyDiagonal_ = false;
        rootQ_ = (settings_.Qd.array() * scale / 4.0).sqrt();
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
