#include "attitude/agm/TriadGyroComputer.h"

#include <cmath>
#include <limits>

#include "attitude/rotation/ExponentialMap.h"
#include "attitude/rotation/QuaternionAlgebra.h"

namespace Kavelin::OrientationInternal {

namespace {

/// Turns `q` (sensor to reference) by the constant rate of one step, exactly, and divides it by its norm. The
/// bits of this filter's results depend on these operations in this order:
/// not the exponential of ExponentialMap.h.
/// @param rate rad/s, sensor frame; at a norm of kFirstOrderRate or less the step is taken to first order.
/// @param dt   s, of either sign.  A zero quaternion gives NaN.
/// Source: Wertz, Spacecraft Attitude Determination and Control, 1978, section 17.1.
Quaternion propagateQuaternion(const Quaternion& q, const Vector3& rate, double dt) {
    const double norm = rate.norm();
    const bool firstOrder = !(norm > kFirstOrderRate);
    const double keep = firstOrder ? 1.0 : std::cos(norm * dt / 2);
    const double turn = firstOrder ? dt / 2 : std::sin(norm * dt / 2) / norm;
    const Quaternion rateQuaternion(0.0, rate.x(), rate.y(), rate.z());
    const Quaternion next = keep * q + turn * quaternionProduct(q, rateQuaternion);
    return next / next.norm();
}

}  // namespace

void TriadGyroComputer::reset(bool absolute) {
    collected_ = Collected{};
    absolute_ = absolute;
}

std::optional<TriadEstimate> TriadGyroComputer::advance(const TriadSample& sample) {
    advanceClock(sample.t);
    if (sample.t - startTime_ < initTime_) {
        collected_.accRef += sample.acc;
        collected_.magRef += sample.mag;
        return std::nullopt;
    }
    if (!collected_.initialised) settleReferences(sample);
    return track(sample);
}

void TriadGyroComputer::advanceClock(double t) {
    if (collected_.counter < std::numeric_limits<std::int32_t>::max()) ++collected_.counter;
    dt_ = t - lastTime_;
    lastTime_ = t;
    if (collected_.counter == 1) {
        dt_ = kFirstTimeStep;
        startTime_ = t;
    }
}

void TriadGyroComputer::settleReferences(const TriadSample& sample) {
    Collected& c = collected_;
    if (c.counter < 2) {
        c.accRef = sample.acc;
        c.magRef = sample.mag;
    } else {
        // Deliberate: the divisor counts this sample too, which is not in the sums, so both references are
        // short by one part in counter; their directions are those of the means.
        c.accRef /= c.counter;
        c.magRef /= c.counter;
    }
    c.magSquaredNorm = c.magRef.squaredNorm();
    c.accSquaredNorm = c.accRef.squaredNorm();
    if (absolute_) idealiseReferences();
    c.initialised = true;
}

void TriadGyroComputer::idealiseReferences() {
    Collected& c = collected_;
    // Deliberate: divided by the squared norms, not the norms, so the dip comes out right for unit vectors
    // only. A vector much shorter than 1 can make |dip| exceed 1,
    // and then the estimate is not a number until a reset.
    const double dip = c.magRef.dot(c.accRef) / c.accSquaredNorm / c.magSquaredNorm;
    c.accRef = Vector3(0, 0, 1);
    c.magRef = Vector3(std::sqrt(1 - dip * dip), 0, dip);
}

TriadEstimate TriadGyroComputer::track(const TriadSample& sample) {
    const Collected& c = collected_;
    q_ = propagateQuaternion(q_, sample.rate, dt_);
    Matrix3 rotation = quaternionToRotation(q_);
    const Vector3 accBlend = (1 - gain_) * (rotation * c.accRef) + gain_ * sample.acc;
    const Vector3 magBlend = (1 - gain_) * (rotation * c.magRef) + gain_ * sample.mag;

    const Matrix3 frame = AbsoluteAttitudeComputer::frameFromGravityAndField(accBlend, magBlend);
    rotation = absolute_ ? frame : relative_.compute(frame);
    const Vector3 properAcceleration = sample.acc - rotation * c.accRef;
    const Vector3 fieldDisturbance = sample.mag - rotation * c.magRef;

    if (c.referenceRequested) captureReference(rotation);
    (void)AbsoluteAttitudeComputer::rotationToQuaternion(rotation, q_);  // on failure the quaternion stays
    return {q_, rotation, properAcceleration, fieldDisturbance};
}

void TriadGyroComputer::captureReference(Matrix3& rotation) {
    const Matrix3 frame =
        AbsoluteAttitudeComputer::frameFromGravityAndField(collected_.accRef, collected_.magRef);
    relative_.setReference(frame, true);
    collected_.referenceRequested = false;
    rotation = relative_.compute(frame);
    // Used only when `rotation` does not yield a quaternion.
    (void)AbsoluteAttitudeComputer::rotationToQuaternion(absolute_ ? frame : rotation, q_);
}

}  // namespace Kavelin::OrientationInternal
