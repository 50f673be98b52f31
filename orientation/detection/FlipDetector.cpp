#include "orientation/detection/FlipDetector.h"

#include <algorithm>
#include <cmath>

namespace Kavelin::OrientationInternal {

namespace {

constexpr double kSmallestSquaredNorm = 1e-10;     // below it a vector has no direction
constexpr double kShortest = 0.5, kLongest = 1.5;  // of the reference's length: what passes for gravity alone

double angleBetween(const Vector3& a, const Vector3& b) { return std::atan2(a.cross(b).norm(), a.dot(b)); }

}  // namespace

bool FlipDetector::advance(const Vector3& acceleration, double t, const FlipSettings& settings) {
    if (!acceleration.allFinite() || !std::isfinite(t)) return false;
    const double dt = lowPass(acceleration, t, settings.timeConstant);
    if (referenceRequested_) capture();
    angle_ = angleBetween(reference_, smoothed_);

    const bool changes =
        flipped_ ? angle_ < std::min(settings.angleOff, settings.angleOn) : angle_ > settings.angleOn;
    if (!changes || !isGravityAlone()) {
        dwelling_ = false;
        return true;
    }
    held_ = dwelling_ ? held_ + std::min(dt, settings.dwell / 2) : 0.0;
    dwelling_ = true;
    if (held_ < settings.dwell) return true;
    flipped_ = !flipped_;
    if (flipped_) ++count_;
    dwelling_ = false;
    return true;
}

/// @return s since the sample before, never negative.
double FlipDetector::lowPass(const Vector3& acceleration, double t, double timeConstant) {
    const double dt = started_ ? std::max(0.0, t - lastTime_) : 0.0;
    const double share = timeConstant > 0 ? -std::expm1(-dt / timeConstant) : 1.0;
    smoothed_ = started_ ? Vector3(smoothed_ + share * (acceleration - smoothed_)) : acceleration;
    started_ = true;
    lastTime_ = t;
    return dt;
}

void FlipDetector::capture() {
    if (smoothed_.squaredNorm() < kSmallestSquaredNorm) return;  // no direction: the request stands
    reference_ = smoothed_;
    referenceRequested_ = false;
    flipped_ = false;
    dwelling_ = false;
}

bool FlipDetector::isGravityAlone() const {
    const double length = smoothed_.norm();
    return length >= kShortest * reference_.norm() && length <= kLongest * reference_.norm();
}

}  // namespace Kavelin::OrientationInternal
