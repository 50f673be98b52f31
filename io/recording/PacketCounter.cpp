#include "io/recording/PacketCounter.h"

#include <cmath>

namespace Kavelin::RecordingIO {

namespace {

const double kByteRange = 256.0;
// A counter of a byte starts over often: farther than this it has rather begun anew, as after a reset.
const double kByteReach = 32.0;
const double kShortRange = 65536.0;
const double kLongRange = 4294967296.0;
// What a counter of packets cannot have skipped in one recording.
const double kMostLost = 1e9;

}  // namespace

std::optional<double> PacketCounter::add(double value) {
    lost_ = 0;
    if (!hasOrigin_) last_ = value;
    hasOrigin_ = true;
    double forward = value - last_;
    if (forward < 0.0) {
        if (value < 0.0) return std::nullopt;
        const bool isByte = step_ > 0.0 && last_ < kByteRange && forward + kByteRange < kByteReach;
        const double range = isByte ? kByteRange : last_ < kShortRange ? kShortRange : kLongRange;
        forward += range;
        if (forward >= range / 2.0) return std::nullopt;
    }
    last_ = value;
    way_ += forward;
    if (hasValue_ && step_ > 0.0 && forward > step_) {
        const double skipped = std::round(forward / step_) - 1.0;
        if (skipped < kMostLost) lost_ = static_cast<std::uint64_t>(skipped);
    }
    hasValue_ = true;
    return way_;
}

}  // namespace Kavelin::RecordingIO
