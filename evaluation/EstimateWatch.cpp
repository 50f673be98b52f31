#include "evaluation/EstimateWatch.h"

#include <algorithm>
#include <cmath>

#include "attitude/rotation/ExponentialMap.h"
#include "attitude/rotation/QuaternionAlgebra.h"

namespace Kavelin::RecordingIO {

namespace {

using OrientationInternal::conjugate;
using OrientationInternal::quaternionProduct;
using OrientationInternal::rotationVectorFromQuaternion;

const double kStart = 5.0;        // s, in which an estimate may still settle
const double kForceTime = 3.0;    // s, averaging time of the specific force
const double kWindow = 10.0;      // s
const double kLongestStep = 0.2;  // s

}  // namespace

void EstimateWatch::add(double t, const Quaternion& q, const std::optional<Vector3>& acceleration,
                        const Vector3& angle, const Vector3& bias) {
    if (!q.allFinite()) {
        isFinite_ = false;
        return;
    }
    if (!hasLast_) firstTime_ = windowStart_ = t;
    const double step = hasLast_ ? t - lastTime_ : 0.0;
    const bool counts = t - firstTime_ > kStart;
    const bool isContinuous = step > 0.0 && step < kLongestStep;
    const Matrix3 rotation = OrientationInternal::quaternionToRotation(q);
    if (isContinuous) {
        const Vector3 turn = rotationVectorFromQuaternion(quaternionProduct(conjugate(last_), q));
        turned_ += turn.norm();
        if (counts) correction_ += rotation * (turn - (angle - lastAngle_ - step * bias));
    }
    if (acceleration && acceleration->allFinite()) {
        addForce(isContinuous ? step : 0.0, rotation * *acceleration, counts);
    }
    if (t - windowStart_ >= kWindow) {
        if (t - firstTime_ >= kStart + kWindow) closeWindow();
        windowStart_ = t;
        correction_.setZero();
    }
    hasLast_ = true;
    lastTime_ = t;
    last_ = q;
    lastAngle_ = angle;
}

/// @param step s; 0: the mean begins with this one
void EstimateWatch::addForce(double step, const Vector3& force, bool counts) {
    force_ += (step > 0.0 ? step / (kForceTime + step) : 1.0) * (force - force_);
    if (!counts || step <= 0.0) return;
    const double tilt = std::atan2(std::hypot(force_.x(), force_.y()), force_.z());
    tiltSquares_ += step * tilt * tilt;
    tiltTime_ += step;
}

void EstimateWatch::closeWindow() {
    headingSquares_ += correction_.z() * correction_.z();
    levelSquares_ += 0.5 * (correction_.x() * correction_.x() + correction_.y() * correction_.y());
    ++windows_;
    if (std::abs(correction_.z()) <= largest_) return;
    largest_ = std::abs(correction_.z());
    largestTime_ = windowStart_ + kWindow;
}

EstimateEvidence EstimateWatch::evidence() const {
    EstimateEvidence found;
    found.isThere = hasLast_ || !isFinite_;
    found.seconds = lastTime_ - firstTime_;
    found.isFinite = isFinite_;
    found.turned = turned_;
    found.largestCorrection = largest_;
    found.largestCorrectionTime = largestTime_;
    if (tiltTime_ > 0.0) found.tiltResidual = std::sqrt(tiltSquares_ / tiltTime_);
    if (windows_ > 0) {
        found.headingCorrection = std::sqrt(headingSquares_ / windows_);
        found.tiltCorrection = std::sqrt(levelSquares_ / windows_);
    }
    return found;
}

}  // namespace Kavelin::RecordingIO
