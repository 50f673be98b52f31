#pragma once

#include <string>

#include "attitude/FilterAGMBase.h"
#include "attitude/agm/AGMComputer.h"

namespace Kavelin::OrientationInternal {

/// Estimates the attitude relative to the pose at the start from accelerometer, magnetometer and gyroscope.
///
/// Pins, properties and settings: docs/filters/FilterAGMAttitude_v5.md.
/// Deliberate: its model predicts the accelerometer with the sign opposite to that of its own gating, so that
/// with a sensor that reads upwards at rest the tilt runs away to the opposite attitude;
/// `FilterAGMAttitude_v6` does not.
class FilterAGMAttitude_v5 : public FilterAGMBase, public Core::WithState<FilterAGMAttitude_v5> {
public:
    static constexpr const char* kTypeName = "FilterAGMAttitude_v5";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterAGMAttitude_v5(const std::string& name);
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        serializeAs<AGMComputer>(archive);
    }
};

}  // namespace Kavelin::OrientationInternal
