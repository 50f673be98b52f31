#pragma once

#include <string>

#include "attitude/FilterAGMBase.h"
#include "attitude/agm/AGMComputer.h"

namespace Kavelin::OrientationInternal {

/// Estimates the attitude as `FilterAGMAttitude_v5`, with a model that predicts what its gating expects, and
/// keeps its references when there is no initialisation period; sends the attitude as a quaternion too.
///
/// Pins, properties and settings: docs/filters/FilterAGMAttitude_v6.md.
class FilterAGMAttitude_v6 : public FilterAGMBase, public Core::WithState<FilterAGMAttitude_v6> {
public:
    static constexpr const char* kTypeName = "FilterAGMAttitude_v6";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterAGMAttitude_v6(const std::string& name);
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        serializeAs<AGMComputer>(archive);
    }

protected:
    void sendFurther(double t) override;

private:
    OutputPin<Matrix> attitudeQ_{"attitudeQ", this, inFrame(kQuaternion, kSensorToStart)};
};

}  // namespace Kavelin::OrientationInternal
