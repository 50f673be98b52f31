#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

namespace Kavelin::RecordingIO {

/// Gives an attitude the form that is wanted: quaternion, matrix or Euler angles. Each attitude is sent on
/// every output that is connected, with its time stamp; a sample of another shape is dropped.
class FilterAttitudeForm : public OrientationInternal::Filter {
public:
    static constexpr const char* kTypeName = "FilterAttitudeForm";

    explicit FilterAttitudeForm(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

private:
    using Matrix = Core::Matrix;

    OrientationInternal::InputPin<Matrix> attitude_{"attitude", this, anyAttitude(Core::kQuaternion)};
    OrientationInternal::OutputPin<Matrix> quaternion_{"quaternion", this, Core::kQuaternion};
    OrientationInternal::OutputPin<Matrix> matrix_{"matrix", this, Core::kRotation};
    // Yaw, pitch, roll: intrinsic turns about z, the new y, the new x.
    OrientationInternal::OutputPin<Matrix> euler_{
        "euler", this, {.shape = {1, 3}, .quantity = "yaw, pitch, roll", .unit = Core::kDegrees}};
};

}  // namespace Kavelin::RecordingIO
