#include "attitude/spherical/SphericalAttitudeComputer.h"

#include <algorithm>
#include <cmath>

#include "attitude/detection/SampleLimits.h"
#include "attitude/rotation/EarthFrame.h"
#include "attitude/rotation/ExponentialMap.h"
#include "attitude/rotation/QuaternionAlgebra.h"

namespace Kavelin::OrientationInternal {

namespace {

constexpr double kLongestStep = 1.0;       // s; a gap is bridged with the last rate for no longer
constexpr double kLongestFieldStep = 0.1;  // s; a field after a longer gap weighs no more than after this one
constexpr double kSettlingTimes = 9.0;     // gravity time constants until its drift reveals the bias
constexpr double kGravityBiasGain = 0.0148;    // 1/s, of the bias that gravity's drift shows
constexpr double kRestLearningTime = 54.7;     // s, longest averaging of the bias at rest
constexpr double kShortestRestLearning = 0.2;  // s
constexpr double kSmallestHorizontalX = 0.1;   // below it the sensor's x axis is too steep to give a heading
constexpr double kSmallestNorthSquared = 1e-12;  // below it north has no direction left normal to up

// A horizontal unit vector: `first` made normal to `up`, or `second` where what is left of `first`
// is too short.
Eigen::Vector3d horizontalDirection(const Eigen::Vector3d& up, const Eigen::Vector3d& first,
                                    const Eigen::Vector3d& second) {
    const Eigen::Vector3d part = first - up * up.dot(first);
    if (part.norm() >= kSmallestHorizontalX) return part.normalized();
    return (second - up * up.dot(second)).normalized();
}

}  // namespace

bool SphericalAttitudeComputer::advance(double t, const Eigen::Vector3d& acc, const Eigen::Vector3d& rate,
                                        const Eigen::Vector3d& field) {
    if (!state_.started) return start(t, acc, rate, field);
    double dt = t - state_.time;
    if (!(dt > 0.0 && std::isfinite(dt))) return true;
    state_.time = t;
    dt = std::min(dt, kLongestStep);
    state_.elapsed += dt;
    const bool rateUsable = isUsableRate(rate);
    const Eigen::Vector3d turning =
        rateUsable ? Eigen::Vector3d(rate - state_.bias) : Eigen::Vector3d::Zero();
    propagate(dt, turning);
    const Eigen::Matrix3d R_I_B = state_.q_I_B.toRotationMatrix();
    const Eigen::Vector3d acc_I = R_I_B * acc;
    const bool accUsable = isUsableAcceleration(acc);
    Eigen::Vector3d up = state_.up;
    state_.atRest = false;
    if (accUsable && filterGravity(dt, acc_I, up)) {
        state_.atRest = rateUsable && state_.rest.update(dt, acc, rate, settings_.rest);
        learnBias(dt, rate, R_I_B, up);
        lean(up);
    }
    if (!accUsable || !rateUsable) state_.rest.interrupt();
    correctHeading(dt, turning.squaredNorm(), R_I_B, field);
    compose(accUsable ? &acc_I : nullptr);
    return true;
}

bool SphericalAttitudeComputer::start(double t, const Eigen::Vector3d& acc, const Eigen::Vector3d& rate,
                                      const Eigen::Vector3d& field) {
    if (!std::isfinite(t) || !isUsableAcceleration(acc)) return false;
    state_.started = true;
    state_.time = t;
    state_.low1 = state_.low2 = state_.low3 = acc;
    state_.gravity = acc.norm();
    state_.up = acc / state_.gravity;
    state_.north = horizontalDirection(state_.up, Eigen::Vector3d::UnitX(), Eigen::Vector3d::UnitY());
    state_.rest.start(acc, isUsableRate(rate) ? rate : Eigen::Vector3d(Eigen::Vector3d::Zero()));
    correctHeading(0.0, 0.0, Eigen::Matrix3d::Identity(), field);
    compose(&acc);
    return true;
}

void SphericalAttitudeComputer::propagate(double dt, const Eigen::Vector3d& rate) {
    state_.q_I_B = state_.q_I_B * quaternionFromRotationVector(rate * dt);
    renormalise(state_.q_I_B);
}

// Low-passes the acceleration; the first seconds are a running mean.
// Returns false where the result has no direction.
bool SphericalAttitudeComputer::filterGravity(double dt, const Eigen::Vector3d& acc_I, Eigen::Vector3d& up) {
    const double gain = std::max(dt / (settings_.gravityTimeConstant + dt), dt / state_.elapsed);
    state_.low1 += gain * (acc_I - state_.low1);
    state_.low2 += gain * (state_.low1 - state_.low2);
    state_.low3 += gain * (state_.low2 - state_.low3);
    state_.gravity = state_.low3.norm();
    if (state_.gravity <= kSmallestAcceleration) {
        state_.rest.interrupt();
        return false;
    }
    up = state_.low3 / state_.gravity;
    return true;
}

// At rest the rate is the bias. In motion gravity's drift in I reveals it; state_.up x up is already
// proportional to dt.
void SphericalAttitudeComputer::learnBias(double dt, const Eigen::Vector3d& rate,
                                          const Eigen::Matrix3d& R_I_B, const Eigen::Vector3d& up) {
    if (state_.atRest) {
        state_.restLearning = std::min(state_.restLearning + dt, kRestLearningTime);
        const double gain = std::min(1.0, dt / std::max(state_.restLearning, kShortestRestLearning));
        state_.bias += gain * (rate - state_.bias);
    } else if (state_.elapsed > kSettlingTimes * settings_.gravityTimeConstant) {
        state_.bias += kGravityBiasGain * (R_I_B.transpose() * state_.up.cross(up));
    }
}

// Takes the new vertical and makes north normal to it again.
void SphericalAttitudeComputer::lean(const Eigen::Vector3d& up) {
    state_.up = up;
    state_.north -= up * up.dot(state_.north);
    const double squared = state_.north.squaredNorm();
    if (squared > kSmallestNorthSquared) {
        state_.north /= std::sqrt(squared);
    } else {
        state_.north = horizontalDirection(up, Eigen::Vector3d::UnitX(), Eigen::Vector3d::UnitY());
    }
}

void SphericalAttitudeComputer::correctHeading(double dt, double rateSquared, const Eigen::Matrix3d& R_I_B,
                                               const Eigen::Vector3d& field) {
    state_.sinceField += dt;
    if (!isUsableField(field)) return;
    const double fieldStep = std::max(dt, std::min(state_.sinceField, kLongestFieldStep));
    state_.sinceField = 0.0;
    state_.heading.correct(fieldStep, rateSquared, state_.up, R_I_B * field, settings_.fieldNoise,
                           state_.north);
}

void SphericalAttitudeComputer::compose(const Eigen::Vector3d* acc_I) {
    const Eigen::Matrix3d R_E_I = earthFrameFromAxes(state_.up, state_.north);
    Eigen::Quaterniond attitude = Eigen::Quaterniond(R_E_I) * state_.q_I_B;
    renormalise(attitude);
    if (attitude.dot(state_.attitude) < 0.0) attitude.coeffs() = -attitude.coeffs();
    state_.attitude = attitude;
    if (!acc_I) return;
    state_.properAcceleration = R_E_I * *acc_I;
    state_.properAcceleration.z() -= state_.gravity;
}

}  // namespace Kavelin::OrientationInternal
