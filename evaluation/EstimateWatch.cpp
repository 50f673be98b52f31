#include "evaluation/EstimateWatch.h"

#include <algorithm>
#include <cmath>

#include "attitude/QuaternionAlgebra.h"

namespace Kavelin::RecordingIO {

namespace {

using OrientationInternal::quaternionProduct;

const double kStart = 5.0;        // s, in which an estimate may still settle
const double kForceTime = 3.0;    // s, averaging time of the specific force
const double kWindow = 10.0;      // s
const double kLongestStep = 0.2;  // s

/// Rotation vector of a small rotation; exact enough up to some 2 rad.
Vector3 rotationVector(Quaternion q) {
    if (q[0] < 0.0) q = -q;
    const Vector3 v = q.tail<3>();
    const double sine = v.norm();
    return sine < 1e-12 ? Vector3(2.0 * v) : Vector3(2.0 * std::atan2(sine, q[0]) / sine * v);
}

}  // namespace

void EstimateWatch::add(double t, const Quaternion& q, const std::optional<Vector3>& acceleration,
                        const std::optional<Vector3>& rate) {
    if (!q.allFinite()) {
        isFinite_ = false;
        return;
    }
    const double step = t - lastTime_;
    if (!hasLast_) firstTime_ = windowStart_ = t;
    const Matrix3 rotation = OrientationInternal::quaternionToRotation(q);
    if (hasLast_ && step > 0.0 && step < kLongestStep) {
        const Quaternion before(last_[0], -last_[1], -last_[2], -last_[3]);
        const Vector3 turn = rotationVector(quaternionProduct(before, q));
        turned_ += turn.norm();
        if (rate && rate->allFinite() && t - firstTime_ > kStart) {
            correction_ += rotation * (turn - 0.5 * step * (lastRate_ + *rate));
        }
        if (acceleration && acceleration->allFinite()) {
            const double gain = step / (kForceTime + step);
            force_ += gain * (rotation * *acceleration - force_);
            if (t - firstTime_ > kStart) {
                const double tilt = std::atan2(std::hypot(force_.x(), force_.y()), force_.z());
                tiltSquares_ += step * tilt * tilt;
                tiltTime_ += step;
            }
        }
    } else if (acceleration && acceleration->allFinite()) {
        force_ = rotation * *acceleration;
    }
    if (t - windowStart_ >= kWindow) {
        if (t - firstTime_ >= kStart + kWindow) closeWindow();
        windowStart_ = t;
        correction_.setZero();
    }
    hasLast_ = true;
    lastTime_ = t;
    last_ = q;
    if (rate && rate->allFinite()) lastRate_ = *rate;
}

void EstimateWatch::closeWindow() {
    headingSquares_ += correction_.z() * correction_.z();
    levelSquares_ += 0.5 * (correction_.x() * correction_.x() + correction_.y() * correction_.y());
    ++windows_;
}

EstimateEvidence EstimateWatch::evidence() const {
    EstimateEvidence found;
    found.seconds = lastTime_ - firstTime_;
    found.isFinite = isFinite_;
    found.turned = turned_;
    if (tiltTime_ > 0.0) found.tiltResidual = std::sqrt(tiltSquares_ / tiltTime_);
    if (windows_ > 0) {
        found.headingCorrection = std::sqrt(headingSquares_ / windows_);
        found.tiltCorrection = std::sqrt(levelSquares_ / windows_);
    }
    return found;
}

}  // namespace Kavelin::RecordingIO
