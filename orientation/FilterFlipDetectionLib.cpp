#include "orientation/FilterFlipDetectionLib.h"

#include "attitude/rotation/AngleConstants.h"

namespace Kavelin::OrientationInternal {

FilterFlipDetectionLib::FilterFlipDetectionLib(const std::string& name) : Filter(name, true) {}

void FilterFlipDetectionLib::process() {
    if (!acc_.readNext() || !acc_.fits()) return;
    const double t = acc_.lastTimeStamp();
    const FlipSettings settings{.timeConstant = timeConstant_.get(),
                                .angleOn = angleOn_.get() * kDegreesToRadians,
                                .angleOff = angleOff_.get() * kDegreesToRadians,
                                .dwell = dwell_.get()};
    if (!detector_.advance(firstThree(acc_.value()), t, settings)) return;
    flip_.value()(0, 0) = detector_.isFlipped() ? 1.0 : 0.0;
    count_.value()(0, 0) = detector_.count();
    angle_.value()(0, 0) = detector_.angle();
    flip_.send(t);
    count_.send(t);
    angle_.send(t);
}

}  // namespace Kavelin::OrientationInternal
