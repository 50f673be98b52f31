#include "evaluation/SensorWatch.h"

#include <algorithm>
#include <cmath>

namespace Kavelin::RecordingIO {

namespace {

const std::uint64_t kRun = 3;  // equal samples; fewer happen to any sensor
const double kTurned = 6.0;    // rad, a turn so large that every working axis changes
const std::uint64_t kFewestChanges = 10;

}  // namespace

void SensorWatch::Extreme::take(double newest, double sign, std::uint64_t run) {
    if (sign * newest > sign * value) {
        value = newest;
        inRuns = 0;
    } else if (newest == value && run >= kRun) {
        inRuns += run == kRun ? kRun : 1;
    }
}

void SensorWatch::add(double t, const Vector3& value, double turned) {
    if (!value.allFinite()) {
        ++unusable_;
        return;
    }
    if (samples_ == 0) {
        firstTime_ = t;
        for (int axis = 0; axis < 3; ++axis) {
            Lane& lane = lanes_[static_cast<std::size_t>(axis)];
            lane.greatest.value = lane.least.value = lane.value = value[axis];
            lane.since = t;
            lane.turned = turned;
        }
    }
    ++samples_;
    const double square = value.squaredNorm();
    normSum_ += std::sqrt(square);
    squares_ += square;
    lastTime_ = t;
    lastTurned_ = turned;
    for (int axis = 0; axis < 3; ++axis)
        addTo(lanes_[static_cast<std::size_t>(axis)], t, value[axis], turned);
}

void SensorWatch::addTo(Lane& lane, double t, double value, double turned) {
    lane.isZero = lane.isZero && value == 0.0;
    if (value != lane.value) {
        if (turned - lane.turned > kTurned) lane.stuck += t - lane.since;
        lane.value = value;
        lane.run = 0;
        lane.turned = turned;
        lane.since = t;
        ++lane.changes;
    }
    ++lane.run;
    lane.greatest.take(value, 1.0, lane.run);
    lane.least.take(value, -1.0, lane.run);
}

double SensorWatch::normDeviation() const {
    if (samples_ == 0) return 0.0;
    return std::sqrt(std::max(0.0, squares_ / static_cast<double>(samples_) - norm() * norm()));
}

SensorWatch::Axis SensorWatch::axis(int index) const {
    const Lane& lane = lanes_[static_cast<std::size_t>(index)];
    Axis axis;
    axis.isZero = samples_ > 0 && lane.isZero;
    const double time = lastTime_ - firstTime_;
    const double stuck = lane.stuck + (lastTurned_ - lane.turned > kTurned ? lastTime_ - lane.since : 0.0);
    if (time > 0.0) axis.stuckShare = stuck / time;
    // A sensor that is read more often than it measures repeats all values, not only extremes.
    const double usualRun = static_cast<double>(samples_) / static_cast<double>(lane.changes + 1);
    if (lane.changes < kFewestChanges || usualRun > 0.5 * static_cast<double>(kRun)) return axis;
    const double count = static_cast<double>(samples_);
    // A run of zeros means that the sensor has failed.
    const auto clipped = [](const auto& extreme) { return extreme.value != 0.0 ? extreme.inRuns : 0; };
    axis.clippedShare = static_cast<double>(clipped(lane.greatest) + clipped(lane.least)) / count;
    axis.limit = std::max(lane.greatest.inRuns > 0 ? std::abs(lane.greatest.value) : 0.0,
                          lane.least.inRuns > 0 ? std::abs(lane.least.value) : 0.0);
    return axis;
}

}  // namespace Kavelin::RecordingIO
