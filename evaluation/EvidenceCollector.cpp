#include "evaluation/EvidenceCollector.h"

#include <algorithm>
#include <cmath>

#include "attitude/rotation/EarthFrame.h"
#include "attitude/rotation/QuaternionAlgebra.h"

namespace Kavelin::RecordingIO {

namespace {

const double kGapFactor = 5.0;  // usual steps
const double kStart = 5.0;      // s, in which an estimator may still be unsure
const double kStepGain = 0.02;

Evidence::Sensor of(const SensorWatch& watch) {
    Evidence::Sensor sensor{.samples = watch.samples(),
                            .unusable = watch.unusable(),
                            .norm = watch.norm(),
                            .normDeviation = watch.normDeviation(),
                            .axes = {}};
    for (int axis = 0; axis < 3; ++axis) sensor.axes[static_cast<std::size_t>(axis)] = watch.axis(axis);
    return sensor;
}

std::optional<double> root(std::optional<double> meanSquare) {
    if (meanSquare) *meanSquare = std::sqrt(*meanSquare);
    return meanSquare;
}

}  // namespace

double Evidence::Sensor::clippedShare() const {
    return std::max({axes[0].clippedShare, axes[1].clippedShare, axes[2].clippedShare});
}

double Evidence::Sensor::stuckShare() const {
    return std::max({axes[0].stuckShare, axes[1].stuckShare, axes[2].stuckShare});
}

void EvidenceCollector::add(const ResultSample& sample) {
    addTime(sample.t);
    addSensors(sample);
    addClaims(sample);
    addEstimate(sample);
}

void EvidenceCollector::addTime(double t) {
    if (timing_.rows++ == 0) timing_.first = timing_.last = rates_.time = t;
    const double step = t - timing_.last;
    timing_.last = t;
    if (step <= 0.0) return;
    if (timing_.usualStep > 0.0 && step > kGapFactor * timing_.usualStep) {
        timing_.gapSeconds += step;
        timing_.longestGap = std::max(timing_.longestGap, step);
    } else {
        timing_.usualStep += (timing_.usualStep > 0.0 ? kStepGain : 1.0) * (step - timing_.usualStep);
    }
}

void EvidenceCollector::addSensors(const ResultSample& sample) {
    if (sample.rate && sample.rate->allFinite()) {
        rates_.angle += (sample.t - rates_.time) * 0.5 * (rates_.last + *sample.rate);
        rates_.time = sample.t;
        rates_.last = *sample.rate;
        gravityFit_.addRate(sample.t, *sample.rate);
        fieldFit_.addRate(sample.t, *sample.rate);
    }
    if (sample.acceleration) gravityFit_.addVector(sample.t, *sample.acceleration);
    if (sample.field) fieldFit_.addVector(sample.t, *sample.field);
    if (turnTick_.isDue(sample.t)) {
        rateTurn_.addAngle(sample.t, rates_.angle);
        if (sample.acceleration) accelerationTurn_.addDirection(sample.t, *sample.acceleration);
    }
    if (sample.field && fieldTick_.isDue(sample.t)) fieldTurn_.addDirection(sample.t, *sample.field);
    if (sample.field) norms_.add(sample.t, *sample.field, rateTurn_.turned());
    const double a = accelerationTurn_.turned(), g = rateTurn_.turned(), m = fieldTurn_.turned();
    if (sample.acceleration) acceleration_.add(sample.t, *sample.acceleration, std::max(g, m));
    if (sample.rate) rate_.add(sample.t, *sample.rate, std::max(a, m));
    if (sample.field) field_.add(sample.t, *sample.field, std::max(a, g));
}

void EvidenceCollector::addClaims(const ResultSample& sample) {
    if (sample.bias && sample.bias->allFinite()) bias_ = sample.bias;
    if (sample.hardIron && sample.hardIron->allFinite()) hardIron_ = sample.hardIron;
    if (sample.hasBodyMagnet) hasBodyMagnet_ = hasBodyMagnet_ || *sample.hasBodyMagnet;
    if (sample.isAtRest) rest_.add(*sample.isAtRest ? 1.0 : 0.0);
    if (sample.isDisturbed) disturbed_.add(*sample.isDisturbed ? 1.0 : 0.0);
    if (sample.t - timing_.first <= kStart) return;
    if (sample.tiltSigma) tiltSigma_.add(*sample.tiltSigma * *sample.tiltSigma);
    if (sample.headingSigma) headingSigma_.add(*sample.headingSigma * *sample.headingSigma);
}

void EvidenceCollector::addEstimate(const ResultSample& sample) {
    if (!sample.attitude) return;
    if (isRelativeToStart_ && !hasStart_ && sample.acceleration) findStart(sample);
    const Quaternion q = isRelativeToStart_ ? OrientationInternal::quaternionProduct(start_, *sample.attitude)
                                            : *sample.attitude;
    if (!q.allFinite() || estimateTick_.isDue(sample.t)) {
        estimate_.add(sample.t, q, sample.acceleration, rates_.angle, bias_.value_or(Vector3::Zero()));
    }
    if (!sample.field || !northTick_.isDue(sample.t)) return;
    fieldInEarth_.add(sample.t, q, hardIron_ ? Vector3(*sample.field - *hardIron_) : *sample.field);
}

/// Turns the pose at the start upright by the shortest turn.
void EvidenceCollector::findStart(const ResultSample& sample) {
    const Vector3 up = OrientationInternal::quaternionToRotation(*sample.attitude) * *sample.acceleration;
    if (!up.allFinite() || up.norm() <= 0.0) return;
    hasStart_ = true;
    start_ = OrientationInternal::fromEigen(OrientationInternal::attitudeFromGravity(up));
}

Evidence EvidenceCollector::evidence() const {
    Evidence evidence;
    evidence.seconds = timing_.last - timing_.first;
    evidence.gapSeconds = timing_.gapSeconds;
    evidence.longestGap = timing_.longestGap;
    evidence.acceleration = of(acceleration_);
    evidence.rate = of(rate_);
    evidence.field = of(field_);
    evidence.gravityFit = gravityFit_.result();
    evidence.fieldFit = fieldFit_.result();
    evidence.fieldInEarth = fieldInEarth_.evidence();
    evidence.normByDirection = norms_.evidence();
    evidence.estimate = estimate_.evidence();
    evidence.tiltSigma = root(tiltSigma_.mean());
    evidence.headingSigma = root(headingSigma_.mean());
    evidence.bias = bias_;
    evidence.hardIron = hardIron_;
    evidence.restShare = rest_.mean();
    evidence.disturbedShare = disturbed_.mean();
    evidence.hasBodyMagnet = hasBodyMagnet_;
    return evidence;
}

}  // namespace Kavelin::RecordingIO
