#include "io/recording/RateCheck.h"

#include <Eigen/Geometry>

namespace Kavelin::RecordingIO {

namespace {

const double kSecond = 1.0;
const double kLongestStep = 0.2;  // s
const double kStill = 0.3;        // m/s^2; a tilt of 2 degrees
const double kTilt = 0.2;         // rad; no bias of a rate in rad/s makes that in a second
const std::uint64_t kFewest = 3;

}  // namespace

void RateCheck::add(double time, const Eigen::Vector3d& acceleration, const Eigen::Vector3d& rate) {
    const double step = time - lastTime_;
    turn_ += 0.5 * (lastRate_ + rate) * step;
    length_ += step;
    isStill_ =
        isStill_ && step <= kLongestStep && (acceleration - acceleration_).squaredNorm() < kStill * kStill;
    lastTime_ = time;
    lastRate_ = rate;
    if (!isStill_) {
        begin(acceleration);
    } else if (length_ >= kSecond) {
        ++stills_;
        if (acceleration_.normalized().cross(turn_).norm() > kTilt) ++contradictions_;
        begin(acceleration);
    }
}

void RateCheck::begin(const Eigen::Vector3d& acceleration) {
    isStill_ = true;
    acceleration_ = acceleration;
    turn_.setZero();
    length_ = 0.0;
}

bool RateCheck::isContradicted() const {
    return contradictions_ >= kFewest && 10 * contradictions_ >= 9 * stills_;
}

}  // namespace Kavelin::RecordingIO
