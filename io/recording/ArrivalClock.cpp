#include "io/recording/ArrivalClock.h"

#include <algorithm>

namespace Kavelin::RecordingIO {

namespace {

constexpr double kLongestStep = 4.0;   // usual steps
constexpr double kReadsOfMemory = 16;  // in which the usual step follows

}  // namespace

void ArrivalClock::beginRead(double now, std::size_t lines) {
    before_ = now_;
    now_ = std::max(now, now_);
    left_ = lines;
    if (++reads_ == 1) origin_ = now_ = now;
    if (reads_ == 1 || lines == 0) return;
    step_ = (now_ - before_) / static_cast<double>(lines);
    if (usualStep_ > 0.0) step_ = std::min(step_, kLongestStep * usualStep_);
    usualStep_ += usualStep_ > 0.0 ? (step_ - usualStep_) / kReadsOfMemory : step_;
}

std::optional<double> ArrivalClock::next() {
    if (left_ > 0) --left_;
    if (reads_ == 1) return left_ == 0 ? std::optional(0.0) : std::nullopt;
    return now_ - static_cast<double>(left_) * step_ - origin_;
}

}  // namespace Kavelin::RecordingIO
