#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

namespace Kavelin::OrientationInternal {

/// Synthesises noise-free directions of gravity and field from three Euler angles, to feed attitude filters.
///
/// Pins: in "yaw", "pitch", "roll", one element each, degrees; out "3a" and "3m", 1x3 unit rows in the sensor
/// frame, both stamped like "yaw". The three inputs are taken together or not at all; a triple with a sample
/// of another size is taken and dropped. The numerics are in DirectionSynthesis.
class Filter3a3mGenerator : public Filter, public Core::WithoutState {
public:
    static constexpr const char* kTypeName = "Filter3a3mGenerator";
    explicit Filter3a3mGenerator(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

private:
    InputPin<Matrix> yaw_{"yaw", this, anyArrangement(inUnit(kAngle, Core::kDegrees))};
    InputPin<Matrix> pitch_{"pitch", this, anyArrangement(inUnit(kAngle, Core::kDegrees))};
    InputPin<Matrix> roll_{"roll", this, anyArrangement(inUnit(kAngle, Core::kDegrees))};
    OutputPin<Matrix> acc_{"3a", this, inUnit(kAcceleration, "")};
    OutputPin<Matrix> mag_{"3m", this, kField};
};

}  // namespace Kavelin::OrientationInternal
