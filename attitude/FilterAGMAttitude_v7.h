#pragma once

#include <string>

#include "attitude/FilterAGMBase.h"
#include "attitude/agm/AGMComputer_v7.h"

namespace Kavelin::OrientationInternal {

/// Estimates the attitude as `FilterAGMAttitude_v6`, and learns the gyroscope's bias at rest; its settings
/// are relative to the lengths of the references.
///
/// Pins, properties and settings: docs/filters/FilterAGMAttitude_v7.md.
class FilterAGMAttitude_v7 : public FilterAGMBase, public Core::WithState<FilterAGMAttitude_v7> {
public:
    static constexpr const char* kTypeName = "FilterAGMAttitude_v7";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterAGMAttitude_v7(const std::string& name);
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        serializeAs<AGMComputer_v7>(archive);
    }

protected:
    void sendFurther(double t) override;

private:
    OutputPin<Matrix> attitudeQ_{"attitudeQ", this, inFrame(kQuaternion, kSensorToStart)};
};

}  // namespace Kavelin::OrientationInternal
