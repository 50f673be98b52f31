#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "orientation/detection/FlipDetector.h"

namespace Kavelin::OrientationInternal {

/// Tells when the unit was turned over.
///
/// "3a": 3 elements of any shape, m/s^2 or any constant unit, sensor frame; others, and what is not finite,
/// are dropped. "flip": 1x1, 1.0 while turned over. "count": 1x1, how often it was. "angle": 1x1, rad,
/// between the low-passed direction of gravity and the reference, which is captured at the first sample and
/// by "Reference". All are stamped as the sample, whose time stamps are in seconds.
class FilterFlipDetectionLib : public Filter, public Core::WithState<FilterFlipDetectionLib> {
public:
    static constexpr const char* kTypeName = "FilterFlipDetectionLib";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterFlipDetectionLib(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(detector_);
    }

private:
    void onReference() { detector_.requestReference(); }

    InputPin<Matrix> acc_{"3a", this, anyArrangement(inUnit(kAcceleration, ""))};
    OutputPin<Matrix> flip_{"flip", this, kFlag};
    OutputPin<Matrix> count_{"count", this, kNumber};
    OutputPin<Matrix> angle_{"angle", this, kAngle};
    RangeProperty<double> timeConstant_{
        "Time constant", this, {.minimum = 0.0, .maximum = 60.0, .step = 0.01, .value = 0.2, .unit = "s"}};
    RangeProperty<double> angleOn_{
        "Angle on", this, {.minimum = 0.0, .maximum = 180.0, .step = 1.0, .value = 120.0, .unit = "deg"}};
    RangeProperty<double> angleOff_{
        "Angle off", this, {.minimum = 0.0, .maximum = 180.0, .step = 1.0, .value = 60.0, .unit = "deg"}};
    RangeProperty<double> dwell_{
        "Dwell", this, {.minimum = 0.0, .maximum = 60.0, .step = 0.01, .value = 0.3, .unit = "s"}};
    CommandProperty reference_{"Reference", this, handler(this, &FilterFlipDetectionLib::onReference)};

    FlipDetector detector_;
};

}  // namespace Kavelin::OrientationInternal
