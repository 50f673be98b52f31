#include "orientation/FilterOrientationQuality.h"

#include "orientation/TakeVector.h"

namespace Kavelin::OrientationInternal {

FilterOrientationQuality::FilterOrientationQuality(const std::string& name) : Filter(name, true) {}

void FilterOrientationQuality::process() {
    double t = 0.0;
    const auto acceleration = takeVector(acc_, t);
    const auto field = takeVector(mag_, t);
    double accVerdict = acceleration ? computer_.judgeAcceleration(*acceleration, thresholdAcc_.get()) : 0.0;
    double fieldVerdict = field ? computer_.judgeField(*field, thresholdMag_.get()) : 0.0;
    const double rateVerdict = judgeRate();
    if (useAngle_.get() && acceleration && field) computer_.captureAngle();
    if (!acceleration && !field) return;
    if (!useAcc_.get()) accVerdict = 1.0;
    if (!useMag_.get()) fieldVerdict = 1.0;

    gesture_.value()(0, 0) = gesture(accVerdict, rateVerdict);
    gesture_.send(t);
    if (!field) return;
    environment_.value()(0, 0) = fieldVerdict;
    environment_.send(t);
}

/// Deliberate: with "UseGyr" off the rate pin is not read at all, so its buffer fills.
double FilterOrientationQuality::judgeRate() {
    if (!useGyr_.get()) return 1.0;
    double rateTime = 0.0;  // never stamps a result
    const auto rate = takeVector(gyr_, rateTime);
    return rate ? OrientationQualityComputer::judgeRate(*rate, saturation_.get()) : 1.0;
}

double FilterOrientationQuality::gesture(double acceleration, double rate) const {
    switch (mode_) {
        case Mode::Free:
            return acceleration;
        case Mode::FreeDynamic:
            return rate;
        case Mode::FixedAxis:
            return 1.0;
    }
    return -1.0;
}

}  // namespace Kavelin::OrientationInternal
