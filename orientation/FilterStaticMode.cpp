#include "orientation/FilterStaticMode.h"

#include "orientation/TakeVector.h"

namespace Kavelin::OrientationInternal {

FilterStaticMode::FilterStaticMode(const std::string& name) : Filter(name, true) {}

void FilterStaticMode::process() {
    double t = 0.0;
    const auto acceleration = takeVector(acc_, t);
    const auto field = takeVector(mag_, t);
    // Deliberate: the rate is taken, so that its buffer does not fill, but not used; its row scores 1.0.
    gyr_.readNext();
    const auto scores = computer_.score(acceleration, field);
    if (!scores) return;
    write(*scores);
    score_.send(t);
}

void FilterStaticMode::write(const StaticModeScores& scores) {
    const double acceleration = useAcc_.get() ? scores.acceleration : 1.0;
    const double field = useMag_.get() ? scores.field : 1.0;
    const double angle = useAngle_.get() ? scores.angle : 1.0;
    const double overall = acceleration * field * angle;
    const auto flag = [](double score, const RangeProperty<double>& threshold) {
        return score > threshold.get() ? 1.0 : 0.0;
    };
    score_.value() << overall, flag(overall, thresholdAll_),     //
        scores.acceleration, flag(acceleration, thresholdAcc_),  //
        scores.field, flag(field, thresholdMag_),                //
        scores.angle, flag(angle, thresholdAngle_),              //
        1.0, flag(1.0, thresholdGyr_);
}

}  // namespace Kavelin::OrientationInternal
