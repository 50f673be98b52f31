#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "orientation/convergence/ConvergenceHistory.h"

namespace Kavelin::OrientationInternal {

/// Measures how long an error angle takes to settle after a motion stopped.
///
/// From a "motionStoped" sample with an element other than 0.0 until "reset", first elements of "errorAngle"
/// and "timeStamp" are recorded. Each error gives "finalAngle" (1x1, from the 4th error on), the magnitude of
/// the mean of the newest quarter, and, when that is strictly below "maximumAccuracy", "convergenceTime"
/// (1x1, unit of "timeStamp"): the recorded time, since the first one, of the error before the last one
/// outside finalAngle +- "threshold"; 0.0 when there is none. Both are stamped with the wall clock. The
/// caller must keep times and errors aligned: when the wanted time is missing, process raises
/// std::out_of_range, after recording the error and sending "finalAngle".
class FilterConvergenceTime : public Filter, public Core::WithState<FilterConvergenceTime> {
public:
    static constexpr const char* kTypeName = "FilterConvergenceTime";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterConvergenceTime(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(recording_, resetRequested_, history_);
    }

private:
    void onReset() { resetRequested_ = true; }
    void startAnew();
    void takeMotionStopped();
    bool takeTime();
    bool takeError();
    void evaluate();

    static constexpr Core::Range<double> angle(double value) {
        return {.minimum = 0.0, .maximum = 180.0, .step = 0.01, .value = value, .unit = "unit of errorAngle"};
    }

    static constexpr bool hasElement(Core::PinShape sample) { return sample.rows * sample.cols > 0; }
    static constexpr Core::PinContent kFirstElement{
        .shape = {1, 1}, .takes = hasElement, .takesText = "at least 1 element"};

    InputPin<Matrix> error_{"errorAngle", this, kFirstElement};
    InputPin<Matrix> motionStopped_{"motionStoped", this};
    InputPin<Matrix> time_{"timeStamp", this, kFirstElement};
    OutputPin<Matrix> convergenceTime_{"convergenceTime", this, stampedWithWallClock(kNumber)};
    OutputPin<Matrix> finalAngle_{"finalAngle", this, stampedWithWallClock(kNumber)};
    RangeProperty<double> threshold_{"threshold", this, angle(1.0)};
    RangeProperty<double> maximumAccuracy_{"maximumAccuracy", this, angle(5.0)};
    CommandProperty reset_{"reset", this, handler(this, &FilterConvergenceTime::onReset)};

    bool recording_ = false;
    bool resetRequested_ = false;
    ConvergenceHistory history_;
};

}  // namespace Kavelin::OrientationInternal
