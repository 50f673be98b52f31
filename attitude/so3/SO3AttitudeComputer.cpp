#include "attitude/so3/SO3AttitudeComputer.h"

#include <algorithm>
#include <cmath>

#include "attitude/detection/SampleLimits.h"
#include "attitude/rotation/AngleConstants.h"
#include "attitude/rotation/ExponentialMap.h"
#include "attitude/so3/Azimuth.h"

namespace Kavelin::OrientationInternal {

using namespace SO3;
using Eigen::Vector3d;

namespace {

double squared(double x) { return x * x; }

constexpr double kGravity = 9.81;  // m/s^2

constexpr double kStepTime = 0.04;   // s, of a covariance step: little turns in it
constexpr double kWindowTime = 0.1;  // s, of a field window: what a magnetometer gives several samples in
constexpr double kAlmost = 0.999;    // of these, so that rounding of time stamps does not add a sample

constexpr double kStartTilt = 0.139;      // rad, deviation after the start phase; of the heading after a gap
constexpr double kStartHeading = 1e-3;    // rad, before a field: the heading is free, and exact by choice
constexpr double kStartBias = 0.025;      // rad/s
constexpr double kStartVelocity = 1.83;   // m/s
constexpr double kStartPosition = 0.1;    // m
constexpr double kStartAccBias = 0.0689;  // m/s^2
constexpr double kStartScale = 0.00158;
constexpr double kFreeHeading = 10.0;  // rad^2, after a gap without a field

constexpr double kSmallestHorizontalX = 0.1;  // below it the sensor's x axis is too steep for a heading
constexpr double kSteepestField = 1e-3;       // horizontal part of a field that still has a heading
constexpr double kFieldRange = 1e12;          // any unit; guards the range of a double
constexpr double kLongestStartStep = 0.1;     // s

constexpr double kGapTurn = 3.0;             // rad/s^2, by which the rate may have changed within a gap
constexpr double kGapRateShare = 0.3;        // of the rates' difference
constexpr double kLargestGapTurn = 1.5;      // rad
constexpr double kGapAcceleration = 4.0;     // m/s^2
constexpr double kLargestGapVelocity = 5.0;  // m/s

constexpr double kTurnPerRate = 0.0001;            // sqrt(s), noise from a residual scale error
constexpr double kForcePerAcceleration = 0.00141;  // sqrt(s), the same of the accelerometer
constexpr double kAccBiasDrift = 1e-4;             // m/s^2/sqrt(s)
constexpr double kPositionBound = 0.142;           // m sqrt(s), how closely a hand stays to its place
constexpr double kLeak = 5.24;                     // s, in which position and velocity are forgotten
constexpr double kMisfitTime = 2.76;               // s
constexpr double kMisfitLimit = 0.263;             // above it the accelerometer's model does not hold
constexpr double kLargestMisfit = 100.0;
constexpr double kRestVelocity = 0.00021;  // m/s sqrt(s)
constexpr double kRestRate = 0.00132;      // rad/s sqrt(s)

bool isUsable(const Vector3d& acc, const Vector3d& rate, double range) {
    if (!(acc.squaredNorm() < kLargestAcceleration * kLargestAcceleration)) return false;
    return isUsableRate(rate) && !(range > 0.0 && acc.cwiseAbs().maxCoeff() >= range);
}

// The frame of the first sample: Up along the acceleration; East normal to it and the field, or, without one,
// along the sensor's x axis (its y axis where x is steep).
Eigen::Quaterniond firstAttitude(const Vector3d& acc, const Vector3d* field) {
    const Vector3d z = acc.normalized();
    Vector3d x = Vector3d::UnitX() - z.x() * z;
    if (x.norm() < kSmallestHorizontalX) x = Vector3d::UnitY() - z.y() * z;
    if (field) {
        const Vector3d east = field->cross(z);
        const double length = east.norm();
        if (length > kSteepestField * field->norm() && length > 0.0) x = east;
    }
    x.normalize();
    Eigen::Matrix3d R_earth_sensor;
    R_earth_sensor.row(0) = x;
    R_earth_sensor.row(1) = z.cross(x);
    R_earth_sensor.row(2) = z;
    return Eigen::Quaterniond(R_earth_sensor);
}

}  // namespace

bool SO3AttitudeComputer::advance(double t, const Vector3d& acc, const Vector3d& rate,
                                  const Vector3d& field) {
    const bool usable = isUsable(acc, rate, settings_.accelerometerRange);
    const bool hasField = field.squaredNorm() < kFieldRange * kFieldRange;
    Sample sample{passTime(t), acc, rate, hasField ? &field : nullptr};
    if (state_.phase == Phase::Waiting && !(usable && start(sample))) return false;  // S1
    if (!(sample.dt > 0.0)) return true;
    state_.clock.pass(sample.dt);  // S2
    if (!usable) return true;
    const SampleClock::Step step = state_.clock.step();
    sample.dt = step.dt;
    const Vector3d turning = step.isGap ? bridgeGap(sample, step.isLongGap) : rate;
    state_.lastRate = rate;
    state_.rest.update(sample.dt, acc, rate, settings_);  // S3
    if (state_.phase == Phase::Starting) {
        findLevel(sample);  // S4
        return true;
    }
    integrate(sample, turning);                                          // S5
    if (state_.step.duration >= kAlmost * kStepTime) closeStep();        // S6
    if (state_.window.duration >= kAlmost * kWindowTime) closeWindow();  // S7 to S14
    return true;
}

// Time since the sample before; 0 at the first, and where it does not advance.
double SO3AttitudeComputer::passTime(double t) {
    if (!std::isfinite(t)) return 0.0;
    const double dt = state_.hasTime ? t - state_.time : 0.0;
    if (state_.hasTime && !(dt > 0.0 && std::isfinite(dt))) return 0.0;
    state_.hasTime = true;
    state_.time = t;
    return dt;
}

bool SO3AttitudeComputer::start(const Sample& sample) {
    if (!state_.hasTime || !(sample.acc.norm() > kSmallestAcceleration)) return false;
    state_.phase = Phase::Starting;
    state_.nominal.attitude = firstAttitude(sample.acc, sample.field);
    state_.rest.start(sample.acc, sample.rate);
    state_.lastRate = sample.rate;
    ErrorCovariance& p = state_.covariance;
    p.grow(kTurn, 2, squared(kStartTilt));
    p.grow(kTurnUp, 1, squared(kStartHeading));
    p.grow(kBias, 3, squared(kStartBias));
    p.grow(kVelocity, 3, squared(kStartVelocity));
    p.grow(kPosition, 3, squared(kStartPosition));
    p.grow(kAccBias, 3, squared(kStartAccBias));
    p.grow(kScale, 3, squared(kStartScale));
    p.grow(kScale + 3, 3, 0.5 * squared(kStartScale));
    return true;
}

// S2: the uncertainty after a gap grows with its length. Returns the rate to assume for it.
Vector3d SO3AttitudeComputer::bridgeGap(const Sample& sample, bool isLong) {
    if (state_.step.duration > 0.0) closeStep();
    const Vector3d& rate = sample.rate;
    const double dt = sample.dt;
    const double turn = kGapTurn * dt * dt + kGapRateShare * (rate - state_.lastRate).norm() * dt;
    state_.covariance.grow(kTurn, 3, squared(std::min(turn, kLargestGapTurn)));
    state_.covariance.grow(kVelocity, 3, squared(std::min(kGapAcceleration * dt, kLargestGapVelocity)));
    state_.rest.start(sample.acc, rate);
    if (isLong) {
        state_.phase = Phase::Starting;
        state_.start.restart();
        state_.step = StepSums();
        state_.window = FieldWindow();
    }
    return 0.5 * (state_.lastRate + rate);
}

// S4
void SO3AttitudeComputer::findLevel(const Sample& sample) {
    NominalState& nominal = state_.nominal;
    const double dt = std::min(sample.dt, kLongestStartStep);
    const Vector3d turn = (sample.rate - nominal.bias) * dt;
    nominal.attitude = (nominal.attitude * quaternionFromRotationVector(turn)).normalized();
    state_.linearAcceleration =
        nominal.attitude * (sample.acc - nominal.accBias) - kGravity * Vector3d::UnitZ();
    Vector3d field;
    if (sample.field) field = *sample.field - state_.field.hardIron();
    state_.start.add(dt, sample.acc, sample.field ? &field : nullptr, nominal.attitude);
    if (state_.start.isDone()) beginRun();
}

// S4, last: the level is found. After a long gap, position and velocity are unknown again, and the heading is
// uncertain by as much as a hand can have turned it.
void SO3AttitudeComputer::beginRun() {
    state_.phase = Phase::Running;
    if (state_.hasRun) {
        ErrorCovariance& p = state_.covariance;
        for (int i = 0; i < 3; ++i) {
            p.isolate(kTurn + i, squared(kStartTilt));
            p.isolate(kVelocity + i, squared(kStartVelocity));
            p.isolate(kPosition + i, squared(kStartPosition));
        }
        if (!state_.start.hasHeading()) p.isolate(kTurnUp, kFreeHeading);
        state_.nominal.velocity.setZero();
        state_.nominal.position.setZero();
        state_.field.restart(state_.nominal, p);
    }
    state_.hasRun = true;
    if (nextAttitude_) takeGivenAttitude();
}

// The attitude handed in has a frame of its own. If north is known already, the filter stays in the frame of
// north and turns its outputs; otherwise the first field shows the angle between the two frames.
void SO3AttitudeComputer::takeGivenAttitude() {
    const Eigen::Quaterniond apart = *nextAttitude_ * state_.nominal.attitude.conjugate();
    const double length = std::hypot(apart.w(), apart.z());
    if (state_.field.known() && length > 0.0) {
        state_.toGiven = Eigen::Quaterniond(apart.w() / length, 0.0, 0.0, apart.z() / length);
    }
    state_.nominal.attitude = state_.toGiven.conjugate() * *nextAttitude_;
    state_.isGiven = true;
    nextAttitude_.reset();
}

// S5
void SO3AttitudeComputer::integrate(const Sample& sample, const Vector3d& rate) {
    NominalState& nominal = state_.nominal;
    const double dt = sample.dt;
    const Vector3d unbiased = rate - nominal.bias;
    const Vector3d turning = unbiased + nominal.scale * unbiased;
    const Eigen::Quaterniond half = quaternionFromRotationVector(turning * (0.5 * dt));
    const Eigen::Quaterniond middle = nominal.attitude * half;
    const Eigen::Matrix3d R_middle = middle.toRotationMatrix();
    nominal.attitude = middle * half;
    const Vector3d force = R_middle * (sample.acc - nominal.accBias);
    state_.linearAcceleration = force - kGravity * Vector3d::UnitZ();

    StepSums& step = state_.step;
    const double squaredTurning = turning.squaredNorm() * dt;
    step.duration += dt;
    step.turned += R_middle * dt;
    step.force += force * dt;
    step.rate += rate * dt;
    step.turning += unbiased * dt;
    step.squaredTurning += squaredTurning;
    step.squaredAcceleration += state_.linearAcceleration.squaredNorm() * dt;
    FieldWindow& window = state_.window;
    window.duration += dt;
    window.squaredTurning += squaredTurning;
    if (!sample.field) return;
    const Eigen::Matrix3d R_earth_sensor = nominal.attitude.toRotationMatrix();
    window.field += R_earth_sensor * *sample.field;
    window.attitudes += R_earth_sensor;
    ++window.fields;
}

// S6
void SO3AttitudeComputer::closeStep() {
    const StepSums& step = state_.step;
    const double duration = step.duration;
    NominalState& nominal = state_.nominal;
    const double leak = std::exp(-duration / kLeak);
    const Vector3d gained = step.force - kGravity * duration * Vector3d::UnitZ();
    nominal.position = leak * (nominal.position + duration * (nominal.velocity + 0.5 * gained));
    nominal.velocity = leak * (nominal.velocity + gained);
    state_.covariance.propagate(step, leak);
    const double relaxed = relaxation(duration);
    addNoise(step, relaxed);

    ErrorVector x = ErrorVector::Zero();
    if (state_.rest.atRest()) {
        state_.covariance.observe(kVelocity, -nominal.velocity, squared(kRestVelocity) / duration, x);
        state_.covariance.observe(kBias, step.rate / duration - nominal.bias, squared(kRestRate) / duration,
                                  x);
    }
    state_.covariance.observe(kPosition, -nominal.position, relaxed * squared(kPositionBound) / duration, x);
    nominal.inject(x);
    state_.field.turnEarth(x[kTurnUp]);
    state_.step = StepSums();
}

// How much to distrust the accelerometer and the position bound:
// 1 while the position stays as near as the model says.
double SO3AttitudeComputer::relaxation(double duration) {
    const double expected = state_.covariance.meanVariance(kPosition) + squared(kPositionBound);
    const double ratio = state_.nominal.position.squaredNorm() / 3.0 / expected;
    state_.misfit +=
        std::min(1.0, duration / kMisfitTime) * (std::min(ratio, kLargestMisfit) - state_.misfit);
    return squared(std::max(1.0, state_.misfit / kMisfitLimit));
}

void SO3AttitudeComputer::addNoise(const StepSums& step, double relaxed) {
    const double duration = step.duration;
    const double force = relaxed * (squared(settings_.accelerometerNoise) * duration +
                                    squared(kForcePerAcceleration) * step.squaredAcceleration);
    ErrorCovariance& p = state_.covariance;
    p.grow(kTurn, 3,
           squared(settings_.gyroscopeNoise) * duration + squared(kTurnPerRate) * step.squaredTurning);
    p.grow(kVelocity, 3, force);
    p.grow(kPosition, 3, force * duration * duration / 3.0);
    p.grow(kBias, 3, squared(settings_.biasDrift) * duration);
    p.grow(kAccBias, 3, squared(kAccBiasDrift) * duration);
}

void SO3AttitudeComputer::closeWindow() {
    if (state_.window.fields > 0) {
        const bool wasKnown = state_.field.known();
        state_.field.run(state_.window, settings_.fieldNoise, state_.nominal, state_.covariance);
        const bool isFirst = !wasKnown && state_.field.known();
        if (isFirst && state_.isGiven) {
            state_.toGiven = TurnAboutUp(-state_.field.firstAzimuth()) * state_.toGiven;
        }
    }
    state_.window = FieldWindow();
}

bool SO3AttitudeComputer::setNextAttitude(const Quaternion& attitude) {
    const double length = attitude.norm();
    if (!(length > 0.0 && std::isfinite(length))) return false;
    nextAttitude_ = toEigen(attitude / length);
    return true;
}

double SO3AttitudeComputer::tiltDeviation() const {
    if (state_.phase != Phase::Running) return kStartTilt;
    const ErrorCovariance& p = state_.covariance;
    return std::sqrt(0.5 * (p.variance(kTurn) + p.variance(kTurn + 1)));
}

double SO3AttitudeComputer::headingDeviation() const {
    if (!state_.field.known() && !state_.isGiven) return kPi;
    return std::min(kPi, std::sqrt(state_.covariance.variance(kTurnUp)));
}

}  // namespace Kavelin::OrientationInternal
