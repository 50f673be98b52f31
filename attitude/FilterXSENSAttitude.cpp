#include "attitude/FilterXSENSAttitude.h"

namespace Kavelin::OrientationInternal {

FilterXSENSAttitude::FilterXSENSAttitude(const std::string& name) : Filter(name, true) {}

void FilterXSENSAttitude::process() {
    if (!unit_.readNext()) return;
    if (!unit_.fits()) return;
    const Matrix3 converted = AbsoluteAttitudeComputer::multiply3x3(axisFlip_, firstNine(unit_.value()));
    if (referenceRequested_) {
        relative_.setReference(converted, true);
        referenceRequested_ = false;
    }
    attitude_.value() = relative_.compute(converted);
    attitude_.sendNow();
}

}  // namespace Kavelin::OrientationInternal
