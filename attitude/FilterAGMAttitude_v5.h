#pragma once

#include <string>

#include "attitude/FilterAGMBase.h"

namespace Kavelin::OrientationInternal {

/// Estimates the attitude relative to the pose at the start from accelerometer, magnetometer and gyroscope.
///
/// Pins, properties and settings: docs/filters/FilterAGMAttitude_v5.md.
/// Deliberate: its model predicts the accelerometer with the sign opposite to that of its own gating, so that
/// with a sensor that reads upwards at rest the tilt runs away to the opposite attitude;
/// `FilterAGMAttitude_v6` does not.
class FilterAGMAttitude_v5 : public FilterAGMBase {
public:
    static constexpr const char* kTypeName = "FilterAGMAttitude_v5";

    explicit FilterAGMAttitude_v5(const std::string& name);
    std::string typeName() const override { return kTypeName; }
};

}  // namespace Kavelin::OrientationInternal
