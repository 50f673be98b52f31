#include "attitude/detection/StartAverages.h"

#include <algorithm>
#include <cmath>

#include "attitude/detection/SampleLimits.h"

namespace Kavelin::OrientationInternal {

namespace {

constexpr double kRestAcceleration = 0.4;  // m/s^2, deviation of a hand-held unit kept still
constexpr double kRestRate = 0.03;         // rad/s, the same
constexpr double kFewestSamples = 10;      // fewer show no scatter
constexpr double kLargestBias = 0.05;      // rad/s per axis; a steadier rate is a turn

}  // namespace

void StartAverages::Moments::add(const Eigen::Vector3d& sample) {
    if (count == 0) origin = sample;
    count += 1;
    const Eigen::Vector3d offset = sample - origin;
    sum += offset;
    squares += offset.cwiseAbs2();
}

Eigen::Vector3d StartAverages::Moments::mean() const {
    if (count == 0) return Eigen::Vector3d::Zero();
    return origin + sum / count;
}

double StartAverages::Moments::deviation() const {
    const Eigen::Vector3d variance = squares / count - (sum / count).cwiseAbs2();
    return std::sqrt(std::max(0.0, variance.sum()));
}

void StartAverages::add(const Eigen::Vector3d& acc, const Eigen::Vector3d& field,
                        const Eigen::Vector3d& rate) {
    const bool accUsable = isUsableAcceleration(acc);
    const bool fieldUsable = isUsableField(field);
    if (accUsable) acc_.add(acc);
    if (isUsableRate(rate)) rate_.add(rate);
    if (!fieldUsable) return;
    const double strength = field.norm();
    field_.add(field);
    strength_ += strength;
    if (!accUsable) return;
    elevation_ += std::asin(std::clamp(acc.dot(field) / (acc.norm() * strength), -1.0, 1.0));
    pairs_ += 1;
}

bool StartAverages::atRest() const {
    return std::min(acc_.count, rate_.count) >= kFewestSamples && acc_.deviation() < kRestAcceleration &&
           rate_.deviation() < kRestRate && rate_.mean().cwiseAbs().maxCoeff() < kLargestBias;
}

}  // namespace Kavelin::OrientationInternal
