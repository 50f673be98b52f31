#include "simulation/SensorFaults.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace Kavelin::RecordingIO {

namespace {

void require(bool holds, const std::string& what) {
    if (!holds) throw Poco::InvalidArgumentException(what);
}

const FaultOptions& checked(const FaultOptions& options) {
    for (const SensorFault* sensor : {&options.acceleration, &options.rate, &options.field}) {
        require(sensor->range > 0.0, "a sensor's range must be more than 0");
    }
    require(options.gap >= 0.0 && std::isfinite(options.gap), "a gap must last 0 s or more");
    require(options.gapEvery > 0.0, "the time between gaps must be more than 0 s");
    require(options.magnetFrom < options.magnetTo, "the magnet must come before it goes");
    return options;
}

void cutOne(const SensorFault& fault, const Vector3& stuck, bool hasFailed, Vector3& value) {
    for (int axis = 0; axis < 3; ++axis) {
        const SensorFault::Axis state = fault.axes[static_cast<std::size_t>(axis)];
        if (hasFailed && state == SensorFault::Axis::kStuck) value[axis] = stuck[axis];
        value[axis] = std::clamp(value[axis], -fault.range, fault.range);
        if (hasFailed && state == SensorFault::Axis::kDead) value[axis] = 0.0;
    }
    value = fault.factor * Vector3(fault.mounting * value);
}

}  // namespace

bool FaultOptions::isInGap(double t) const { return gap > 0.0 && std::fmod(t, gapEvery + gap) >= gapEvery; }

SensorFaults::SensorFaults(const FaultOptions& options) : options_(checked(options)) {}

void SensorFaults::distort(SensorValues& values) const {
    values.rate += options_.gyroScale.cwiseProduct(values.rate) + options_.gyroOffset;
    values.field = options_.softIron * values.field + options_.hardIron;
}

Vector3 SensorFaults::magnetAt(double t) const {
    return t >= options_.magnetFrom && t < options_.magnetTo ? options_.magnet : Vector3(Vector3::Zero());
}

void SensorFaults::cut(double t, SensorValues& values) {
    if (!hasFailed_ && t >= options_.failFrom) {
        hasFailed_ = true;
        stuck_ = values;
    }
    cutOne(options_.acceleration, stuck_.acceleration, hasFailed_, values.acceleration);
    cutOne(options_.rate, stuck_.rate, hasFailed_, values.rate);
    cutOne(options_.field, stuck_.field, hasFailed_, values.field);
}

}  // namespace Kavelin::RecordingIO
