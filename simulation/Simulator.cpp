#include "simulation/Simulator.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "attitude/rotation/AngleConstants.h"
#include "attitude/rotation/QuaternionAlgebra.h"
#include "attitude/rotation/VectorLength.h"

namespace Kavelin::RecordingIO {

namespace {

using OrientationInternal::conjugate;
using OrientationInternal::kPi;
using OrientationInternal::lengthOf;
using OrientationInternal::quaternionProduct;
using OrientationInternal::rotate;

// Taylor series, exact to the last bits for |x| below pi / 2; the mathematical library's last bit differs
// from machine to machine, these do not.
double sine(double x) {
    const double square = x * x;
    double sum = 1.0;
    for (int n = 20; n > 0; n -= 2) sum = 1.0 - square / static_cast<double>(n * (n + 1)) * sum;
    return x * sum;
}

double cosine(double x) {
    const double square = x * x;
    double sum = 1.0;
    for (int n = 20; n > 0; n -= 2) sum = 1.0 - square / static_cast<double>(n * (n - 1)) * sum;
    return sum;
}

/// Quaternion of the rotation vector `r`: an exponential of its own, with the same bits on every machine.
/// Longer turns than half a turn a row are cut: no hand makes them.
Quaternion quaternionOf(const Vector3& r) {
    const double half = 0.5 * lengthOf(r);
    const double bounded = std::min(half, 0.5 * kPi);
    const double factor = half > 0.0 ? 0.5 * sine(bounded) / half : 0.5;
    return {cosine(bounded), factor * r.x(), factor * r.y(), factor * r.z()};
}

Quaternion normalised(const Quaternion& q) {
    return q / std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
}

double smoothStep(double x) { return x <= 0.0 ? 0.0 : x >= 1.0 ? 1.0 : x * x * (3.0 - 2.0 * x); }

void require(bool holds, const std::string& what) {
    if (!holds) throw Poco::InvalidArgumentException(what);
}

SimulationOptions checked(const SimulationOptions& options) {
    require(options.rate > 0.0 && options.rate <= 1e6,
            "the rate must be more than 0 and at most 1000000 rows a second");
    require(options.seconds > 0.0 && options.seconds <= 1e7,
            "the length must be more than 0 and at most 1e7 s");
    require(options.firstRest >= 0.0, "the first rest must be 0 s or more");
    require(options.jitter >= 0.0 && options.jitter < 1.0, "the jitter must be in [0, 1)");
    require(options.missing >= 0.0 && options.missing < 1.0, "the share of missing rows must be in [0, 1)");
    require(options.magnetometerEvery >= 1, "a field sample must come every 1 or more rows");
    for (const double size : {options.rateRms, options.accelerationRms, options.gyroNoise, options.gyroBias,
                              options.accelerometerNoise, options.magnetometerNoise, options.burst,
                              options.disturbance, options.fieldNorm, options.gravity}) {
        require(size >= 0.0 && std::isfinite(size), "noises, biases and norms must be 0 or more");
    }
    require(std::abs(options.dipDegrees) <= 90.0, "the dip must be in [-90, 90] degrees");
    return options;
}

Vector3 earthField(double norm, double dipDegrees) {
    const double dip = dipDegrees * kPi / 180.0;
    return {0.0, norm * cosine(dip), -norm * sine(dip)};
}

}  // namespace

SmoothNoise::SmoothNoise(double timeConstant, double step)
    : gain_(step / (timeConstant + step)), scale_(1.0) {
    // Variance of white noise of variance 1 behind two poles at p: (1-p)^4 (1 + p^2) / (1 - p^2)^3.
    const double pole = 1.0 - gain_;
    const double rest = 1.0 - pole * pole;
    const double variance = gain_ * gain_ * gain_ * gain_ * (1.0 + pole * pole) / (rest * rest * rest);
    scale_ = 1.0 / std::sqrt(variance);
}

Vector3 SmoothNoise::next(Random& random) {
    for (int axis = 0; axis < 3; ++axis) {
        first_[axis] += gain_ * (random.normal() - first_[axis]);
        second_[axis] += gain_ * (first_[axis] - second_[axis]);
    }
    return scale_ * second_;
}

double Episodes::at(double t, Random& random) {
    hasBegun_ = false;
    while (t >= switchTime_) {
        since_ = switchTime_;
        isOn_ = !isOn_;
        hasBegun_ = isOn_;
        switchTime_ += isOn_ ? random.uniform(lengths_.onFrom, lengths_.onTo)
                             : random.uniform(lengths_.offFrom, lengths_.offTo);
    }
    if (!isOn_) return 0.0;
    return smoothStep((t - since_) / lengths_.ramp) * smoothStep((switchTime_ - t) / lengths_.ramp);
}

Simulator::Simulator(const SimulationOptions& options)
    : options_(checked(options)),
      random_(options.seed),
      step_(1.0 / options.rate),
      faults_(options.faults),
      motion_({2.0, 5.0, 6.0, 14.0, 0.6}, options.firstRest),
      bursts_({6.0, 14.0, 0.3, 0.8, 0.1}, options.firstRest + 6.0),
      disturbances_({12.0, 25.0, 3.0, 7.0, 0.5}, options.firstRest + 12.0),
      turning_(0.20, step_),
      shaking_(0.08, step_),
      swaying_(0.5, step_) {
    for (int axis = 0; axis < 3; ++axis) bias_[axis] = random_.uniform(-options.gyroBias, options.gyroBias);
    fieldEarth_ = earthField(options.fieldNorm, options.dipDegrees);
    const double turn = random_.uniform(-1.0, 1.0);
    attitude_ = normalised({1.0, 0.1 * random_.normal(), 0.1 * random_.normal(), turn});
}

bool Simulator::next(SimulatedRow& row) {
    const double nominal = static_cast<double>(row_) * step_;
    if (nominal >= options_.seconds) return false;
    if (row_ > 0) move(nominal);
    row.t = nominal;
    if (options_.jitter > 0.0) row.t += options_.jitter * step_ * random_.uniform(0.0, 1.0);
    row.isLost = options_.missing > 0.0 && random_.uniform() < options_.missing;
    row.isLost = row.isLost || options_.faults.isInGap(nominal);
    sense(nominal, row);
    row.hasField = row_ % options_.magnetometerEvery == 0;
    row.attitude = attitude_;
    ++row_;
    return true;
}

void Simulator::sense(double t, SensorValues& values) {
    const Vector3 force = accelerationEarth_ + burst(t) + Vector3(0.0, 0.0, options_.gravity);
    values.acceleration = rotate(conjugate(attitude_), force);
    const Vector3 accelerationNoise = noise(options_.accelerometerNoise);
    values.rate = rate_;
    const Vector3 rateNoise = noise(options_.gyroNoise);
    const Vector3 fieldNoise = noise(options_.magnetometerNoise);
    values.field = rotate(conjugate(attitude_), fieldEarth_ + disturbance(t) + faults_.magnetAt(t));
    faults_.distort(values);
    values.acceleration += accelerationNoise;
    values.rate += bias_;
    values.rate += rateNoise;
    values.field += fieldNoise;
    faults_.cut(t, values);
}

/// Turns by the rate that the gyroscope shows for it: the mean over the time since the previous row.
void Simulator::move(double t) {
    const double share = motion_.at(t, random_);
    if (motion_.hasBegun()) strength_ = random_.uniform(0.3, 1.0);
    const double amplitude = options_.rests ? share * strength_ : smoothStep((t - options_.firstRest) / 0.6);
    rate_ = amplitude * options_.rateRms * turning_.next(random_);
    // Without its slow part: a hand stays in place.
    accelerationEarth_ =
        amplitude * options_.accelerationRms * (shaking_.next(random_) - 0.5 * swaying_.next(random_));
    attitude_ = normalised(quaternionProduct(attitude_, quaternionOf(rate_ * step_)));
}

Vector3 Simulator::burst(double t) {
    const double share = bursts_.at(t, random_);
    if (bursts_.hasBegun()) burstPeak_ = random_.uniform(0.3, 1.0) * options_.burst * direction();
    return share * burstPeak_;
}

Vector3 Simulator::disturbance(double t) {
    const double share = disturbances_.at(t, random_);
    if (disturbances_.hasBegun()) {
        disturbancePeak_ = random_.uniform(0.3, 1.0) * options_.disturbance * direction();
    }
    return share * disturbancePeak_;
}

Vector3 Simulator::noise(double deviation) {
    const double x = random_.normal();
    const double y = random_.normal();
    const double z = random_.normal();
    return deviation * Vector3(x, y, z);
}

Vector3 Simulator::direction() {
    const Vector3 v = noise(1.0);
    const double norm = lengthOf(v);
    return norm > 0.0 ? Vector3(v / norm) : Vector3(0.0, 0.0, 1.0);
}

}  // namespace Kavelin::RecordingIO
