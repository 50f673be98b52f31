#include "attitude/FilterAbsoluteAttitude.h"

namespace Kavelin::OrientationInternal {

FilterAbsoluteAttitude::FilterAbsoluteAttitude(const std::string& name) : Filter(name, true) {}

void FilterAbsoluteAttitude::process() {
    if (!relative_.readNext()) return;
    if (!relative_.fits()) return;  // "3a" and "3m" stay queued
    updateReferenceFrame();
    absolute_.value() = computer_.multiply3x3(referenceFrame_, firstNine(relative_.value()));
    absolute_.send(relative_.lastTimeStamp());
}

void FilterAbsoluteAttitude::updateReferenceFrame() {
    if (!acc_.readNext()) return;
    if (!mag_.readNext()) return;  // the "3a" sample is gone
    if (!allFit(acc_, mag_)) return;
    referenceFrame_ = computer_.frameFromGravityAndField(firstThree(acc_.value()), firstThree(mag_.value()));
}

}  // namespace Kavelin::OrientationInternal
