#include "attitude/agm/AGMComputer_v7.h"

#include <algorithm>
#include <cmath>

#include "attitude/detection/SampleLimits.h"

namespace Kavelin::OrientationInternal {

namespace {

constexpr double kLongestStep = 1.0;        // s
constexpr double kBiasTimeConstant = 12.2;  // s, of the bias learnt at later rests
constexpr double kLargestRatio = 1e3;       // a sample longer than this many references is unusable
constexpr RestDetector::Settings kRest{.rateLimit = 0.03};

bool isRelative(const Vector3& sample) { return sample.squaredNorm() < kLargestRatio * kLargestRatio; }

}  // namespace

AGMComputer_v7::AGMComputer_v7() : AGMComputer(std::make_unique<ProblemAGM>(), kAGMVariant6) {}

void AGMComputer_v7::reset(bool fromFile) {
    AGMComputer::reset(fromFile);
    averages_ = StartAverages();
    rest_ = RestDetector();
    resting_ = false;
    bias_.setZero();
    accScale_ = magScale_ = 1.0;
    qCoeff_ = problem().QCoeff();
}

bool AGMComputer_v7::advance(const AGMSample& sample) {
    if (!std::isfinite(sample.t)) return solverStarted_;
    if (clock_.count > 0) {
        const double dt = sample.t - clock_.previous;
        if (!(dt > 0.0 && std::isfinite(dt))) return solverStarted_;
        watchRest(sample, std::min(dt, kLongestStep));
    } else {
        const bool usable = isUsableAcceleration(sample.acc) && isUsableRate(sample.rate);
        rest_.start(usable ? sample.acc : Vector3(Vector3::Zero()),
                    usable ? sample.rate : Vector3(Vector3::Zero()));
    }
    return AGMComputer::advance(sample);
}

void AGMComputer_v7::watchRest(const AGMSample& sample, double dt) {
    resting_ = false;
    if (!isUsableAcceleration(sample.acc) || !isUsableRate(sample.rate)) return rest_.interrupt();
    resting_ = rest_.update(dt, sample.acc, sample.rate, kRest);
    if (resting_ && referencesDone_) bias_ += std::min(1.0, dt / kBiasTimeConstant) * (sample.rate - bias_);
}

bool AGMComputer_v7::collect(const AGMSample& sample) {
    averages_.add(sample.acc, sample.mag, sample.rate);
    return false;
}

// Without a usable acceleration the start goes on;
// without a field the magnetometer stays out until the next start.
bool AGMComputer_v7::fixReferences(const AGMSample& sample) {
    const bool collected = averages_.hasAcceleration();
    if (!collected) averages_.add(sample.acc, sample.mag, sample.rate);
    if (!isUsableAcceleration(averages_.acceleration())) return false;
    aRef_ = averages_.acceleration();
    mRef_ = averages_.field();
    accScale_ = aRef_.norm();
    magScale_ = isUsableField(mRef_) ? mRef_.norm() : 0.0;
    aRef_ /= accScale_;
    if (magScale_ > 0.0) {
        mRef_ /= magScale_;
    } else {
        mRef_.setZero();
    }
    if (averages_.atRest()) bias_ = averages_.rate();
    handOnReferences();
    referencesDone_ = true;
    return collected;
}

void AGMComputer_v7::track(const AGMSample& sample) {
    clock_.dt = std::min(clock_.dt, kLongestStep);
    const AGMSample relative = relativeSample(sample);
    processNoiseScale_ = 1.0 + qCoeff_ * relative.rate.squaredNorm();
    const Quaternion before = Xhat_;
    AGMComputer::track(relative);
    if (!Xhat_.allFinite()) {  // settings that overflow: the attitude stays as it was
        Xhat_ = before;
        S_ = problem().initialCovariance();
        fillEstimate(Vector3::Zero());
        estimate_.magPerturbation_sensor.setZero();
    }
    estimate_.accProper_ref *= accScale_;
    estimate_.magPerturbation_sensor *= magScale_;
}

// The sample relative to the references, without bias. An unusable one is replaced by the prediction and
// flagged as perturbed.
AGMSample AGMComputer_v7::relativeSample(const AGMSample& sample) {
    AGMSample relative{.t = sample.t, .acc = sample.acc / accScale_, .mag = sample.mag / magScale_};
    if (isUsableRate(sample.rate)) relative.rate = sample.rate - bias_;
    if (!isUsableAcceleration(sample.acc) || !isRelative(relative.acc)) {
        relative.acc = toEigen(Xhat_).conjugate() * aRef_;
        perturbed_.acc = sample.t;
    }
    if (!isUsableField(sample.mag) || !isRelative(relative.mag)) {
        relative.mag = toEigen(Xhat_).conjugate() * mRef_;
        perturbed_.mag = sample.t;
    }
    return relative;
}

}  // namespace Kavelin::OrientationInternal
