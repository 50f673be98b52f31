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
    if (!last_) firstTime_ = corrections_.windowStart = t;
    const double step = last_ ? t - last_->time : 0.0;
    const bool counts = t - firstTime_ > kStart;
    const bool isContinuous = step > 0.0 && step < kLongestStep;
    const Matrix3 rotation = OrientationInternal::quaternionToRotation(q);
    if (isContinuous) {
        const Vector3 turn = rotationVectorFromQuaternion(quaternionProduct(conjugate(last_->attitude), q));
        turned_ += turn.norm();
        if (counts) corrections_.inWindow += rotation * (turn - (angle - last_->angle - step * bias));
    }
    if (acceleration && acceleration->allFinite()) {
        addForce(isContinuous ? step : 0.0, rotation * *acceleration, counts);
    }
    if (t - corrections_.windowStart >= kWindow) {
        if (t - firstTime_ >= kStart + kWindow) closeWindow();
        corrections_.windowStart = t;
        corrections_.inWindow.setZero();
    }
    last_ = {t, q, angle};
}

/// @param step s; 0: the mean begins with this one
void EstimateWatch::addForce(double step, const Vector3& force, bool counts) {
    Vector3& mean = force_.mean;
    mean += (step > 0.0 ? step / (kForceTime + step) : 1.0) * (force - mean);
    if (!counts || step <= 0.0) return;
    const double tilt = std::atan2(std::hypot(mean.x(), mean.y()), mean.z());
    force_.tiltSquares += step * tilt * tilt;
    force_.tiltTime += step;
}

void EstimateWatch::closeWindow() {
    Corrections& c = corrections_;
    const Vector3& turn = c.inWindow;
    c.headingSquares += turn.z() * turn.z();
    c.levelSquares += 0.5 * (turn.x() * turn.x() + turn.y() * turn.y());
    ++c.windows;
    if (std::abs(turn.z()) <= c.largest) return;
    c.largest = std::abs(turn.z());
    c.largestTime = c.windowStart + kWindow;
}

EstimateEvidence EstimateWatch::evidence() const {
    EstimateEvidence found;
    found.isThere = last_ || !isFinite_;
    found.seconds = last_ ? last_->time - firstTime_ : 0.0;
    found.isFinite = isFinite_;
    found.turned = turned_;
    found.largestCorrection = corrections_.largest;
    found.largestCorrectionTime = corrections_.largestTime;
    if (force_.tiltTime > 0.0) found.tiltResidual = std::sqrt(force_.tiltSquares / force_.tiltTime);
    if (corrections_.windows > 0) {
        found.headingCorrection = std::sqrt(corrections_.headingSquares / corrections_.windows);
        found.tiltCorrection = std::sqrt(corrections_.levelSquares / corrections_.windows);
    }
    return found;
}

}  // namespace Kavelin::RecordingIO
