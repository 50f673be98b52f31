#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "orientation/detection/StaticModeComputer.h"

namespace Kavelin::OrientationInternal {

/// Rates how well acceleration and magnetic field agree with a reference captured at the start
/// and by "Reference".
///
/// "3a", "3m": 1x3, any constant unit, sensor frame; other shapes are consumed and ignored. "3g": taken and
/// not used. "Score": 5x2, a score from 0 to 1 and a flag (1.0 when it is strictly above its threshold) per
/// row: overall, acceleration, field, angle between the two, rate (always 1.0). Scores are as computed;
/// overall score and flags take 1.0 for a criterion that is not used. A vector that did not come in a call
/// scores 0.0; a score that is not a number has the flag 0.0. Stamped as the field, or as the acceleration
/// when no field came.
class FilterStaticMode : public Filter, public Core::WithState<FilterStaticMode> {
public:
    static constexpr const char* kTypeName = "FilterStaticMode";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterStaticMode(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(computer_);
    }

private:
    void onReference() { computer_.requestReference(); }
    void write(const StaticModeScores& scores);

    static constexpr Core::Range<double> kThreshold{
        .minimum = 0.0, .maximum = 1.0, .step = 0.01, .value = 0.8, .unit = ""};

    InputPin<Matrix> acc_{"3a", this, optional(kAcceleration), NonBlocking{}};
    InputPin<Matrix> mag_{"3m", this, optional(kField), NonBlocking{}};
    InputPin<Matrix> gyr_{"3g", this, optional(kRate), NonBlocking{}};
    OutputPin<Matrix> score_{"Score", this, {.shape = {5, 2}, .quantity = "score and flag"}};
    ValueProperty<bool> useAcc_{"UseAcc", this, true};
    ValueProperty<bool> useMag_{"UseMag", this, true};
    ValueProperty<bool> useAngle_{"UseCosGB", this, true};
    ValueProperty<bool> useGyr_{"UseGyr", this, true};  // no effect
    RangeProperty<double> thresholdAll_{"ThresholdAll", this, kThreshold};
    RangeProperty<double> thresholdAcc_{"ThresholdAcc", this, kThreshold};
    RangeProperty<double> thresholdMag_{"ThresholdMag", this, kThreshold};
    RangeProperty<double> thresholdAngle_{"ThresholdCosGB", this, kThreshold};
    RangeProperty<double> thresholdGyr_{"ThresholdGyr", this, kThreshold};
    CommandProperty reference_{"Reference", this, handler(this, &FilterStaticMode::onReference)};

    StaticModeComputer computer_;
};

}  // namespace Kavelin::OrientationInternal
