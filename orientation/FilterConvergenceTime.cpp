#include "orientation/FilterConvergenceTime.h"

namespace Kavelin::OrientationInternal {

FilterConvergenceTime::FilterConvergenceTime(const std::string& name) : Filter(name, true) {}

void FilterConvergenceTime::process() {
    if (resetRequested_) startAnew();
    takeMotionStopped();
    if (!takeTime()) return;
    if (takeError()) evaluate();
}

void FilterConvergenceTime::startAnew() {
    history_.clear();
    recording_ = false;
    convergenceTime_.value()(0, 0) = 0.0;
    convergenceTime_.sendNow();
    resetRequested_ = false;
}

/// A sample of zeros does not end the recording; a NaN starts it.
void FilterConvergenceTime::takeMotionStopped() {
    if (motionStopped_.readNext() && (motionStopped_.value().array() != 0.0).any()) recording_ = true;
}

/// @return false when an empty time sample ends the call. Outside a recording times stay in the pin.
bool FilterConvergenceTime::takeTime() {
    if (!recording_ || !time_.readNext()) return true;
    if (!time_.fits()) return false;
    history_.appendTime(time_.value().data()[0]);
    return true;
}

/// @return whether an error was recorded. Outside a recording errors are taken and dropped.
bool FilterConvergenceTime::takeError() {
    if (!error_.readNext() || !recording_ || !error_.fits()) return false;
    history_.appendError(error_.value().data()[0]);
    return true;
}

void FilterConvergenceTime::evaluate() {
    const auto finalError = history_.finalError();
    if (!finalError) return;
    finalAngle_.value()(0, 0) = *finalError;
    finalAngle_.sendNow();
    if (maximumAccuracy_.get() <= *finalError) return;  // a final error that is not a number goes on

    convergenceTime_.value()(0, 0) = 0.0;
    if (const auto entry = history_.entryIntoBand(*finalError, threshold_.get())) {
        convergenceTime_.value()(0, 0) = history_.timeOfEntry(*entry);
    }
    convergenceTime_.sendNow();
}

}  // namespace Kavelin::OrientationInternal
