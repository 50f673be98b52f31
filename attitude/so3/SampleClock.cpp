#include "attitude/so3/SampleClock.h"

#include <algorithm>

namespace Kavelin::OrientationInternal::SO3 {

namespace {

constexpr double kGapRatio = 1.8;      // one sample lost makes 2, jitter makes less than this
constexpr double kShortestGap = 0.02;  // s; below it the rate held for a sample is good enough
constexpr int kSlowSamples = 20;       // late samples in a row after which the rate itself has changed
constexpr double kNominalGain = 0.02;  // of each sample's time in the ordinary one
constexpr double kLongGap = 0.5;       // s, in which a hand can turn a unit to anywhere
constexpr double kLongestTime = 1e6;  // s; everything that grows with a gap has reached its bound long before

}  // namespace

void SampleClock::pass(double dt) { pending_ = std::min(pending_ + dt, kLongestTime); }

SampleClock::Step SampleClock::step() {
    const double dt = pending_;
    pending_ = 0.0;
    if (nominal_ == 0.0) nominal_ = dt;
    if (!(dt > kGapRatio * nominal_ && dt > kShortestGap)) {
        slow_ = 0;
        nominal_ += kNominalGain * (dt - nominal_);
        return {dt, false, false};
    }
    if (++slow_ > kSlowSamples) {
        slow_ = 0;
        nominal_ = dt;
        return {dt, false, false};
    }
    return {dt, true, dt > kLongGap};
}

}  // namespace Kavelin::OrientationInternal::SO3
