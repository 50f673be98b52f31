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

    OrientationInternal::InputPin<Matrix> attitude_{"attitude", this};  // 1x4, 4x1 (w, x, y, z) or 3x3
    OrientationInternal::OutputPin<Matrix> quaternion_{"quaternion", this, Matrix::Zero(1, 4)};
    OrientationInternal::OutputPin<Matrix> matrix_{"matrix", this, Matrix::Zero(3, 3)};
    // 1x3: yaw, pitch, roll, degrees; intrinsic turns about z, the new y, the new x
    OrientationInternal::OutputPin<Matrix> euler_{"euler", this, Matrix::Zero(1, 3)};
};

}  // namespace Kavelin::RecordingIO
