#include "calibration/magnetic/FieldSamples.h"

#include <algorithm>
#include <cmath>

#include "attitude/rotation/ExponentialMap.h"
#include "calibration/model/RobustLoss.h"

namespace Kavelin::Calibration {

namespace {

using Eigen::Vector3d;
using OrientationInternal::quaternionFromRotationVector;

const double kLongestGap = 0.5;       // s, between rates
const double kForceTime = 0.1;        // s, to either side, over which specific force is averaged
const double kForceTolerance = 0.06;  // share of gravity
const double kGreatestBias = 0.15;    // rad/s
const double kStillRate = 0.05;       // rad/s, mean distance from the mean
const double kStillForce = 0.1;       // rad, mean angle from the mean direction

/// Turns by the rates up to a time.
class RateIntegral {
public:
    explicit RateIntegral(const SensorTrack& rate) : rate_(rate) {}

    void advanceTo(double t, FieldSample& sample) {
        const auto& times = rate_.times;
        if (rate_.size() < 2 || t < times.front() || t > times.back()) return;
        while (next_ + 1 < times.size() && times[next_ + 1] <= t) {
            ++next_;
            goTo(times[next_], next_);
        }
        if (next_ + 1 < times.size()) goTo(t, next_ + 1);
        sample.attitude = attitude_;
        sample.turned = turned_;
        sample.stretch = stretch_;
    }

private:
    /// By the rate of a sample that holds there.
    void goTo(double t, std::size_t sample) {
        const double step = t - time_.value_or(rate_.times.front());
        if (step > kLongestGap) {
            ++stretch_;
        } else {
            turned_ += step * rate_.values[sample].norm();
            attitude_ = (attitude_ * quaternionFromRotationVector(step * rate_.values[sample])).normalized();
        }
        time_ = t;
    }

    const SensorTrack& rate_;
    std::size_t next_ = 0;
    std::optional<double> time_;
    Eigen::Quaterniond attitude_ = Eigen::Quaterniond::Identity();
    double turned_ = 0.0;
    std::size_t stretch_ = 0;
};

/// Means of the specific force over a window that moves along.
class ForceWindow {
public:
    explicit ForceWindow(const SensorTrack& force) : force_(force) {
        std::vector<std::pair<double, double>> norms;
        const std::size_t stride = force.size() / 2000 + 1;
        for (std::size_t i = 0; i < force.size(); i += stride)
            norms.emplace_back(force.values[i].norm(), 1.0);
        gravity_ = weightedMedian(std::move(norms));
    }

    std::optional<Vector3d> around(double t) {
        const auto& times = force_.times;
        while (to_ < times.size() && times[to_] <= t + kForceTime) sum_ += force_.values[to_++];
        while (from_ < to_ && times[from_] < t - kForceTime) sum_ -= force_.values[from_++];
        if (from_ == to_) return std::nullopt;
        const Vector3d mean = sum_ / static_cast<double>(to_ - from_);
        if (std::abs(mean.norm() - gravity_) > kForceTolerance * gravity_) return std::nullopt;
        return mean;
    }

private:
    const SensorTrack& force_;
    double gravity_ = 0.0;
    std::size_t from_ = 0, to_ = 0;
    Vector3d sum_ = Vector3d::Zero();
};

Vector3d meanOf(const std::vector<Vector3d>& values) {
    Vector3d sum = Vector3d::Zero();
    for (const Vector3d& value : values) sum += value;
    return sum / static_cast<double>(values.size());
}

}  // namespace

std::vector<FieldSample> fieldSamples(const SensorRecording& recording, std::size_t most) {
    std::vector<FieldSample> samples;
    const std::size_t stride = (recording.field.size() + most - 1) / most;
    RateIntegral rates(recording.rate);
    ForceWindow force(recording.acceleration);
    for (std::size_t i = 0; i < recording.field.size(); i += stride) {
        FieldSample sample;
        sample.t = recording.field.times[i];
        sample.field = recording.field.values[i];
        rates.advanceTo(sample.t, sample);
        sample.up = force.around(sample.t);
        samples.push_back(sample);
    }
    return samples;
}

MotionSeen motionSeen(const SensorRecording& recording) {
    MotionSeen seen;
    if (!recording.rate.isEmpty()) {
        const Vector3d mean = meanOf(recording.rate.values);
        double away = 0.0;
        for (const Vector3d& rate : recording.rate.values) away += (rate - mean).norm();
        seen.isKnown = true;
        seen.hasTurned =
            mean.norm() > kGreatestBias || away > kStillRate * static_cast<double>(recording.rate.size());
    }
    if (!recording.acceleration.isEmpty() && !seen.hasTurned) {
        const Vector3d mean = meanOf(recording.acceleration.values).normalized();
        double away = 0.0;
        for (const Vector3d& force : recording.acceleration.values)
            away += std::atan2(mean.cross(force).norm(), mean.dot(force));
        seen.isKnown = true;
        seen.hasTurned = away > kStillForce * static_cast<double>(recording.acceleration.size());
    }
    return seen;
}

}  // namespace Kavelin::Calibration
