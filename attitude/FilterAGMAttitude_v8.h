#pragma once

#include <memory>
#include <string>

#include "attitude/FilterAGMBase.h"
#include "attitude/agm/AGMComputer_v8.h"

namespace Kavelin::OrientationInternal {

/// Estimates attitude and gyroscope bias from accelerometer, magnetometer and gyroscope. Holds the attitude
/// still while a caller vouches that the unit does not move.
///
/// Pins, properties and settings: docs/filters/FilterAGMAttitude_v8.md. The reference frame of the common
/// outputs is the earth's (East, North, Up), or that of the attitude handed in; "flag_acc" and "flag_mag"
/// are 1.0 while that sensor is not static.
class FilterAGMAttitude_v8 : public FilterAGMBase, public Core::WithState<FilterAGMAttitude_v8> {
public:
    static constexpr const char* kTypeName = "FilterAGMAttitude_v8";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterAGMAttitude_v8(const std::string& name);
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        serializeAs<AGMComputer_v8>(archive);
        archive(lockedByPin_);
    }

protected:
    void takeFurther() override;
    void sendFurther(double t) override;

private:
    FilterAGMAttitude_v8(const std::string& name, AGMComputer_v8* computer);

    AGMComputer_v8& computer_;  // owned by the base
    bool lockedByPin_ = false;

    // Non-zero locks, zero unlocks; the last one counts.
    InputPin<Matrix> lock_{"lock", this, optional(kFlag), NonBlocking{}};
    // The attitude to take at the end of the next start.
    InputPin<Matrix> quat0_{"quat_0", this, optional(inFrame(kQuaternion, kSensorToEarth)), NonBlocking{}};
    OutputPin<Matrix> attitudeQ_{"attitudeQ", this, inFrame(kQuaternion, kSensorToEarth)};
    OutputPin<Matrix> bias_{"3g_bias", this, kRate};
    OutputPin<Matrix> restFlag_{"flag_rest", this, kFlag};
    OutputPin<Matrix> lockFlag_{"flag_lock", this, kFlag};
    OutputPin<Matrix> innovation_{"innovation", this, {.shape = {1, 6}}};  // acceleration, field; relative

    ValueProperty<bool> lockedByHand_{"Locked", this, false};
};

}  // namespace Kavelin::OrientationInternal
