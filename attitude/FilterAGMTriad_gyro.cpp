#include "attitude/FilterAGMTriad_gyro.h"

namespace Kavelin::OrientationInternal {

FilterAGMTriad_gyro::FilterAGMTriad_gyro(const std::string& name) : Filter(name, true) {}

void FilterAGMTriad_gyro::process() {
    takeReset();
    if (!holdAndTakeTogether(rate_, acc_, mag_) || !allFit(rate_, acc_, mag_)) return;
    const double t = newestStamp(acc_, mag_, rate_);
    const auto estimate =
        computer_.advance({t, firstThree(acc_.value()), firstThree(mag_.value()), firstThree(rate_.value())});
    if (estimate) send(*estimate);
}

void FilterAGMTriad_gyro::takeReset() {
    if (!reset_.readNext()) return;
    if (reset_.value().size() > 0 && reset_.value()(0, 0) == 1.0) reset();
}

void FilterAGMTriad_gyro::send(const TriadEstimate& estimate) {
    quaternion_.value() = estimate.q;
    attitude_.value() = estimate.rotation;
    properAcceleration_.value() = estimate.properAcceleration;
    fieldDisturbance_.value() = estimate.fieldDisturbance;
    quaternion_.sendNow();
    const double now = quaternion_.data().timeStamp;
    attitude_.send(now);
    properAcceleration_.send(now);
    fieldDisturbance_.send(now);
}

}  // namespace Kavelin::OrientationInternal
