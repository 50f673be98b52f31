#include "attitude/agm/AGMComputer_v8.h"

#include <algorithm>
#include <cmath>

#include "attitude/detection/SampleLimits.h"
#include "attitude/rotation/EarthFrame.h"
#include "attitude/rotation/ExponentialMap.h"

namespace Kavelin::OrientationInternal {

namespace {

using Eigen::Quaterniond;
using Eigen::Vector3d;

constexpr double kLongestStep = 1.0;  // s
constexpr double kLongestSensorStep =
    0.1;  // s; a sensor with sparse samples weighs no more than at this interval
constexpr double kShortestNoiseStep = 1e-6;  // s; keeps the noise density of a tiny step within a double
constexpr double kNoiseRate = 100.0;         // Hz at which the settings' deviations hold per sample
constexpr double kRestDeviation = 0.02;      // of a quaternion's element after a start at rest
constexpr double kMotionDeviation = 0.2;     // after a start in motion
constexpr double kGravity = 9.81;            // m/s^2, the reference where no rest showed it
constexpr double kRestRateLimit = 0.03;      // rad/s
constexpr double kEvidenceBeforeLock = 0.2;  // s of rest; the weight of all rests before a lock
constexpr double kLargestRatio = 1e3;        // a sample longer than this many references is unusable

constexpr RestDetector::Settings kRest{.rateLimit = kRestRateLimit};

}  // namespace

// A triple of samples, and which of them can be used.
struct AGMComputer_v8::Measurement {
    Vector3d acc, field, rate;
    bool accUsable, fieldUsable, rateUsable;
};

AGMComputer_v8::AGMComputer_v8() : solver_(&problem_) { solver_.init(4, 6); }

bool AGMComputer_v8::load(const std::string& fileName) {
    if (!problem_.readSettings(fileName, true)) return false;
    loaded_ = true;
    takeSettings();
    startDuration_ = problem_.T_ref();
    restart();
    return true;
}

void AGMComputer_v8::takeSettings() {
    usable_ = loaded_ && problem_.fault().empty();
    processNoise_ = usable_ ? problem_.Qd()(0, 0) : 0.0;
}

bool AGMComputer_v8::setNextAttitude(const Quaternion& attitude) {
    const double norm = attitude.norm();
    if (!(norm > 1e-6 && norm < 1e6)) return false;
    nextAttitude_ = toEigen(attitude / norm);
    return true;
}

// Once a caller vouches for rest, the bias from before counts for little.
void AGMComputer_v8::setLocked(bool locked) {
    if (locked && !locked_) state_.biasEvidence = std::min(state_.biasEvidence, kEvidenceBeforeLock);
    locked_ = locked;
}

bool AGMComputer_v8::advance(const AGMSample& s) {
    if (!usable_) return false;
    const Measurement sample{
        s.acc, s.mag, s.rate, isUsableAcceleration(s.acc), isUsableField(s.mag), isUsableRate(s.rate)};
    if (state_.phase == Phase::Waiting) {
        if (!std::isfinite(s.t)) return false;
        begin(s.t, sample);
        return fillEstimate();
    }
    const double elapsed = s.t - state_.time;
    if (!(elapsed > 0.0 && std::isfinite(elapsed))) return state_.hasAttitude;
    const double dt = std::min(elapsed, kLongestStep);
    state_.time = s.t;
    watchRest(dt, sample);
    const bool collecting = s.t - state_.begin < startDuration_ || !state_.averages.hasAcceleration();
    if (state_.phase == Phase::Collecting && !collecting) startTracking();
    if (state_.phase == Phase::Collecting) {
        collect(dt, sample);
    } else {
        track(dt, sample);
    }
    return fillEstimate();
}

void AGMComputer_v8::begin(double t, const Measurement& sample) {
    state_.phase = Phase::Collecting;
    state_.begin = state_.time = t;
    state_.rest.start(sample.accUsable ? sample.acc : Vector3d(Vector3d::Zero()),
                      sample.rateUsable ? sample.rate : Vector3d(Vector3d::Zero()));
    collect(0.0, sample);
}

// Adds to the means. Carries the frame of the first samples forward, in case the unit moves.
void AGMComputer_v8::collect(double dt, const Measurement& sample) {
    state_.averages.add(sample.acc, sample.field, sample.rate);
    const bool framed = state_.hasAttitude;
    if (framed && sample.rateUsable) {
        state_.first = state_.first * quaternionFromRotationVector(dt * sample.rate);
        state_.first.normalize();
    }
    if (!sample.accUsable && !framed) return;
    if (sample.accUsable && !state_.framedByField && (sample.fieldUsable || !framed)) {
        state_.first = sample.fieldUsable ? attitudeFromGravityAndField(sample.acc, sample.field)
                                          : attitudeFromGravity(sample.acc);
        state_.framedByField = sample.fieldUsable;
    }
    if (!(locked_ && framed)) showRunningFrame();
    state_.hasAttitude = true;
}

void AGMComputer_v8::showRunningFrame() {
    const Vector3d gravity = state_.averages.acceleration();
    if (!isUsableAcceleration(gravity)) return;  // samples that cancel out: the last frame stays
    state_.attitude = attitudeFromGravityAndField(gravity, state_.averages.field());
}

// The end of the start: attitude, references, bias and covariance from what was collected.
void AGMComputer_v8::startTracking() {
    const StartAverages& means = state_.averages;
    const bool rest = (locked_ || means.atRest()) && isUsableAcceleration(means.acceleration());
    state_.headingGiven = nextAttitude_.has_value() || locked_;
    if (nextAttitude_) {
        state_.attitude = *nextAttitude_;
        nextAttitude_.reset();
    } else if (!rest) {
        state_.attitude = state_.first;
    }
    state_.fieldKnown = means.hasField();
    if (rest) {
        takeReferences();
        state_.bias = means.rate();
        state_.biasEvidence = state_.time - state_.begin;
    } else {
        const double elevation = means.fieldElevation();
        state_.acc.reference = Vector3d::UnitZ();
        state_.acc.scale = kGravity;
        state_.field.reference = Vector3d(0.0, std::cos(elevation), std::sin(elevation));
        state_.field.scale = means.fieldStrength();
    }
    if (!state_.fieldKnown) state_.field.reference = Vector3d::UnitY();
    root_.setDiagonal(rest ? kRestDeviation : kMotionDeviation);
    state_.phase = Phase::Tracking;
}

// References of a unit at rest: what it measured, in the frame of its attitude.
void AGMComputer_v8::takeReferences() {
    const Vector3d acc = state_.attitude * state_.averages.acceleration();
    state_.acc.scale = acc.norm();
    state_.acc.reference = acc / state_.acc.scale;
    const Vector3d field = state_.attitude * state_.averages.field();
    if (!isUsableField(field)) {
        state_.fieldKnown = false;
        return;
    }
    state_.field.scale = field.norm();
    state_.field.reference = field / state_.field.scale;
}

void AGMComputer_v8::track(double dt, const Measurement& sample) {
    Measurement used = sample;
    used.accUsable &= sample.acc.squaredNorm() < std::pow(kLargestRatio * state_.acc.scale, 2);
    used.fieldUsable &=
        state_.fieldKnown && sample.field.squaredNorm() < std::pow(kLargestRatio * state_.field.scale, 2);
    const Vector3d turning =
        sample.rateUsable ? Vector3d(sample.rate - state_.bias) : Vector3d(Vector3d::Zero());
    correct(dt, turning, used);
    if (!state_.fieldKnown && sample.fieldUsable && !locked_) takeLateField(sample.field);
    learnBias(dt, sample);
    updateResiduals(used);
}

// Noise deviation of one sensor for this step;
// also tracks for how long its strength has matched its reference.
double AGMComputer_v8::noiseOf(Sensor& sensor, double strength, double dt, double alpha, double least,
                               double moving, double growth, double hold) {
    const double step =
        std::clamp(sensor.since, std::max(dt, kShortestNoiseStep), std::max(dt, kLongestSensorStep));
    sensor.since = 0.0;
    const double deviation = std::abs(strength / sensor.scale - 1.0);
    sensor.still = deviation < alpha ? sensor.still + step : 0.0;
    const double noise = sensor.still >= hold ? least : std::max(least, moving) + growth * deviation;
    return noise / std::sqrt(kNoiseRate * step);
}

// What the filter step works on: both samples relative to their references' lengths, and their noise.
void AGMComputer_v8::weigh(double dt, const Measurement& sample, double* z) {
    double noiseA = 1.0;
    double noiseM = 1.0;
    state_.acc.since += dt;
    state_.field.since += dt;
    if (sample.accUsable) {
        noiseA = noiseOf(state_.acc, sample.acc.norm(), dt, problem_.alpha_A(), problem_.Rdstat_A(),
                         problem_.Rdyn0_A(), problem_.Rddyn_A(), problem_.T_A());
        Eigen::Map<Vector3d>{z} = sample.acc / state_.acc.scale;
    }
    if (sample.fieldUsable) {
        noiseM = noiseOf(state_.field, sample.field.norm(), dt, problem_.alpha_M(), problem_.Rdstat_M(),
                         problem_.Rdyn0_M(), problem_.Rddyn_M(), problem_.T_M());
        Eigen::Map<Vector3d>{z + 3} = sample.field / state_.field.scale;
    }
    for (int i = 0; i < 6; ++i) rootR_.elements[i][i] = i < 3 ? noiseA : noiseM;
    problem_.measureWith(sample.accUsable, sample.fieldUsable);
}

// One step of the Kalman filter; while locked the innovation alone.
void AGMComputer_v8::correct(double dt, const Vector3d& turning, const Measurement& sample) {
    double z[6] = {};
    weigh(dt, sample, z);
    double zref[6];
    Eigen::Map<Vector3d>{zref} = state_.acc.reference;
    Eigen::Map<Vector3d>{zref + 3} = state_.field.reference;
    problem_.measurement(zref, 0, nullptr, nullptr, nullptr);
    double x[4] = {state_.attitude.w(), state_.attitude.x(), state_.attitude.y(), state_.attitude.z()};
    if (locked_) {
        double h[6];
        problem_.measurement(x, 1, h, nullptr, nullptr);
        for (int i = 0; i < 6; ++i) state_.innovation[i] = z[i] - h[i];
        return;
    }
    rootQ_.setDiagonal(std::sqrt(processNoise_ * dt));
    const double* const u[2] = {&dt, turning.data()};
    solver_.step({.n = 4,
                  .m = 6,
                  .x = x,
                  .S = root_.pointers,
                  .rootQ = rootQ_.pointers,
                  .rootR = rootR_.pointers,
                  .z = z,
                  .zref = zref,
                  .u = u,
                  .started = 1,
                  .innovation = state_.innovation.data()});
    takeCorrected(Quaterniond(x[0], x[1], x[2], x[3]));
}

// A correction that overflowed is discarded: the attitude stays, and the covariance is set to say how
// uncertain it is.
void AGMComputer_v8::takeCorrected(const Quaterniond& q) {
    const double norm = q.norm();
    if (norm > 0.1 && norm < 10.0) {
        state_.attitude = Quaterniond(q.coeffs() / norm);
    } else {
        state_.innovation.setZero();
        root_.setDiagonal(kMotionDeviation);
    }
}

// The first field after a start without one: its horizontal direction is north from here on, unless the
// heading was given.
void AGMComputer_v8::takeLateField(const Vector3d& field) {
    Vector3d field_earth = state_.attitude * field;
    if (!state_.headingGiven) {
        if (!(field_earth.head<2>().norm() > 1e-3 * field_earth.norm())) return;
        const double heading = 0.5 * std::atan2(field_earth.x(), field_earth.y());
        const Quaterniond turn(std::cos(heading), 0.0, 0.0, std::sin(heading));
        state_.attitude = turn * state_.attitude;
        for (double* row : root_.pointers) {
            const Quaterniond turned = turn * Quaterniond(row[0], row[1], row[2], row[3]);
            row[0] = turned.w();
            row[1] = turned.x();
            row[2] = turned.y();
            row[3] = turned.z();
        }
        field_earth = turn * field_earth;
    }
    state_.field.scale = field_earth.norm();
    state_.field.reference = field_earth / state_.field.scale;
    state_.fieldKnown = true;
}

void AGMComputer_v8::watchRest(double dt, const Measurement& sample) {
    state_.atRest = false;
    if (sample.accUsable && sample.rateUsable) {
        state_.atRest = state_.rest.update(dt, sample.acc, sample.rate, kRest);
    } else {
        state_.rest.interrupt();
    }
}

// Learns slowly at a detected rest. While locked, takes the mean over all of the rest,
// as the caller vouches for it.
void AGMComputer_v8::learnBias(double dt, const Measurement& sample) {
    if (!sample.rateUsable || !(locked_ || state_.atRest)) return;
    state_.biasEvidence = std::min(state_.biasEvidence + dt, problem_.tau_B());
    const double time = locked_ ? state_.biasEvidence : problem_.tau_B();
    state_.bias += std::min(1.0, dt / time) * (sample.rate - state_.bias);
}

void AGMComputer_v8::updateResiduals(const Measurement& sample) {
    if (sample.accUsable) {
        state_.properAcceleration = state_.attitude * sample.acc - state_.acc.scale * state_.acc.reference;
    }
    if (sample.fieldUsable) {
        const Vector3d predicted = state_.attitude.conjugate() * state_.field.reference;
        state_.fieldPerturbation = sample.field - state_.field.scale * predicted;
    }
}

bool AGMComputer_v8::fillEstimate() {
    estimate_.q_ref_sensor = fromEigen(state_.attitude);
    estimate_.R_ref_sensor = state_.attitude.toRotationMatrix();
    estimate_.accProper_ref = state_.properAcceleration;
    estimate_.magPerturbation_sensor = state_.fieldPerturbation;
    const bool tracking = state_.phase == Phase::Tracking;
    estimate_.accFlag = !(tracking && state_.acc.still >= problem_.T_A());
    estimate_.magFlag = !(tracking && state_.fieldKnown && state_.field.still >= problem_.T_M());
    return state_.hasAttitude;
}

}  // namespace Kavelin::OrientationInternal
