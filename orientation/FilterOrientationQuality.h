#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "orientation/detection/OrientationQualityComputer.h"

namespace Kavelin::OrientationInternal {

/// Tells whether the magnetic environment and the gesture are good for an orientation estimate (1.0 or 0.0).
///
/// "3a", "3m", "3g": 1x3, sensor frame, any constant unit ("3g" that of "SaturationGyro"); other shapes are
/// consumed and ignored. "gestQuality": by "Mode", the verdict on the acceleration's norm ("Free"), on the
/// saturation of the rate
/// ("FreeDynamic"), or 1.0 ("FixedAxis"). "envQuality": the verdict on the field's norm, sent when a field
/// came. Both are stamped as the field, or as the acceleration when no field came; a rate alone sends
/// nothing. A vector that did not come has the verdict 0.0.
/// References are captured at the start and by "Reference".
class FilterOrientationQuality : public Filter, public Core::WithState<FilterOrientationQuality> {
public:
    static constexpr const char* kTypeName = "FilterOrientationQuality";
    static constexpr unsigned kStateVersion = 1;
    enum class Mode { Free = 0, FreeDynamic = 1, FixedAxis = 2 };

    explicit FilterOrientationQuality(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(mode_, computer_);
    }

private:
    void onMode(const Mode& mode) { mode_ = mode; }
    void onReference() { computer_.requestReference(); }
    double judgeRate();
    double gesture(double acceleration, double rate) const;

    static constexpr Core::Range<double> kTolerance{
        .minimum = 0.0, .maximum = 1.0, .step = 0.01, .value = 0.1, .unit = ""};

    InputPin<Matrix> acc_{"3a", this, optional(kAcceleration), NonBlocking{}};
    InputPin<Matrix> mag_{"3m", this, optional(kField), NonBlocking{}};
    InputPin<Matrix> gyr_{"3g", this, optional(inUnit(kRate, "")), NonBlocking{}};
    OutputPin<Matrix> environment_{"envQuality", this, kFlag};
    OutputPin<Matrix> gesture_{"gestQuality", this, kFlag};
    ValueProperty<bool> useAcc_{"UseAcc", this, true};
    ValueProperty<bool> useMag_{"UseMag", this, true};
    ValueProperty<bool> useAngle_{"UseCosGB", this, false};
    ValueProperty<bool> useGyr_{"UseGyr", this, true};
    RangeProperty<double> thresholdAcc_{"ThresholdAcc", this, kTolerance};
    RangeProperty<double> thresholdMag_{"ThresholdMag", this, kTolerance};
    RangeProperty<double> thresholdAngle_{"ThresholdCosGB", this, kTolerance};  // no effect
    RangeProperty<double> thresholdGyr_{"ThresholdGyr", this, kTolerance};      // no effect
    RangeProperty<double> saturation_{
        "SaturationGyro",
        this,
        {.minimum = -1e6, .maximum = 1e6, .step = 0.01, .value = 1120.0, .unit = "unit of 3g"}};
    EnumEnumProperty<Mode, std::string> modeProperty_{"Mode",
                                                      this,
                                                      {"Free", "FreeDynamic", "FixedAxis"},
                                                      1,
                                                      handler(this, &FilterOrientationQuality::onMode)};
    CommandProperty reference_{"Reference", this, handler(this, &FilterOrientationQuality::onReference)};

    Mode mode_ = Mode::FreeDynamic;
    OrientationQualityComputer computer_;
};

}  // namespace Kavelin::OrientationInternal
