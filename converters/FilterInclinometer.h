#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

namespace Kavelin::OrientationInternal {

/// Turns an accelerometer sample into pitch and roll.
///
/// "3a": three elements in any shape; any unit, sensor frame. "pitch", "roll": 1x1, rad, sent in this order,
/// stamped as the sample. Other element counts are dropped.
class FilterInclinometer : public Filter, public Core::WithoutState {
public:
    static constexpr const char* kTypeName = "FilterInclinometer";

    explicit FilterInclinometer(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

private:
    InputPin<Matrix> acc_{"3a", this, anyArrangement(inUnit(kAcceleration, ""))};
    OutputPin<Matrix> pitch_{"pitch", this, kAngle};
    OutputPin<Matrix> roll_{"roll", this, kAngle};
};

}  // namespace Kavelin::OrientationInternal
