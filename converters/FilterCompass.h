#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

namespace Kavelin::OrientationInternal {

/// Turns a magnetometer sample into a heading, the angle in the x-z plane and the field's magnitude.
///
/// "inMag": at least 1 row and 3 columns, of which the first three elements count; any unit, sensor frame.
/// "out": 1x3 (heading rad, tilt rad, norm in the unit of the input), stamped as the sample.
/// Other shapes are dropped.
class FilterCompass : public Filter, public Core::WithoutState {
public:
    static constexpr const char* kTypeName = "FilterCompass";

    explicit FilterCompass(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

private:
    // Deliberate: the test is on columns, so a 3x1 column is refused and a 2x4 matrix gives
    // its first three elements.
    static constexpr bool hasThreeColumns(Core::PinShape sample) {
        return sample.cols >= 3 && sample.rows >= 1;
    }

    OutputPin<Matrix> out_{"out", this, {.shape = {1, 3}, .quantity = "heading, tilt, norm"}};
    InputPin<Matrix> mag_{"inMag", this, taking(kField, hasThreeColumns, "1x3 or more columns")};
};

}  // namespace Kavelin::OrientationInternal
