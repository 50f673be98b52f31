#include "attitude/FilterAGMTriad_gyro.h"

#include <algorithm>

namespace Kavelin::OrientationInternal {

namespace {

/// The shape test of the three sensors. Deliberate: 3 rows or 1 column, either is enough, so a 3x3 sample
/// passes with its first row; what has no three elements to use does not.
bool hasVector(const Matrix& sample) {
    return (sample.rows() == 3 || sample.cols() == 1) && sample.size() >= 3;
}

}  // namespace

FilterAGMTriad_gyro::FilterAGMTriad_gyro(const std::string& name) : Filter(name, true) {}

void FilterAGMTriad_gyro::process() {
    takeReset();
    const bool haveRate = rate_.fetch();
    const bool haveAcc = acc_.fetch();
    const bool haveMag = mag_.fetch();
    if (!haveRate || !haveAcc || !haveMag) return;  // what was fetched stays held
    rate_.consume();
    acc_.consume();
    mag_.consume();
    if (!hasVector(rate_.value()) || !hasVector(acc_.value()) || !hasVector(mag_.value())) return;

    const double t = std::max({acc_.lastTimeStamp(), mag_.lastTimeStamp(), rate_.lastTimeStamp()});
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
