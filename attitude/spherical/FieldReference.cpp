#include "attitude/spherical/FieldReference.h"

#include <algorithm>
#include <cmath>

namespace Kavelin::OrientationInternal {

namespace {
double square(double x) { return x * x; }
}  // namespace

void FieldReference::adopt(double strength, double dip, double dt) {
    strength_ = strength;
    dip_ = dip;
    averagedFor_ = dt;
    echo_ = 0.0;
    candidateFor_ = 0.0;
}

double FieldReference::disturbance(double strength, double dip, double dt) {
    const double now = square((strength - strength_) / (settings_.relativeStrength * strength_)) +
                       square((dip - dip_) / settings_.dip);
    const double gain = dt / (settings_.disturbanceTimeConstant + dt);
    echo_ += gain * (std::min(now, settings_.disturbanceClip) - echo_);
    return std::max(now, echo_);
}

void FieldReference::follow(double strength, double dip, double dt) {
    averagedFor_ = std::min(averagedFor_ + dt, settings_.averagingTime);
    const double gain = std::min(1.0, dt / averagedFor_);
    strength_ += gain * (strength - strength_);
    dip_ += gain * (dip - dip_);
    candidateFor_ = 0.0;
}

void FieldReference::watch(double strength, double dip, double dt, bool moving) {
    const bool same =
        candidateFor_ > 0.0 &&
        std::abs(strength - candidateStrength_) <= settings_.relativeStrength * candidateStrength_ &&
        std::abs(dip - candidateDip_) <= settings_.dip;
    if (!same) {
        candidateStrength_ = strength;
        candidateDip_ = dip;
        candidateFor_ = dt;
        return;
    }
    candidateFor_ += dt;
    const double gain = dt / std::min(candidateFor_, settings_.candidateTime);
    candidateStrength_ += gain * (strength - candidateStrength_);
    candidateDip_ += gain * (dip - candidateDip_);
    if (candidateFor_ > settings_.acceptanceTime && moving) adopt(candidateStrength_, candidateDip_, dt);
}

}  // namespace Kavelin::OrientationInternal
