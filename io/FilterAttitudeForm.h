#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <optional>
#include <string>
#include <string_view>

#include "io/EarthFrame.h"
#include "io/RunParticipant.h"

namespace Kavelin::RecordingIO {

/// Gives an attitude the form that is wanted: quaternion, matrix or Euler angles. Each attitude is sent on
/// every output that is connected, with its time stamp; a sample of another shape is dropped.
///
/// With "Frame" it is turned to that earth first. The earth that it comes in is the one that its pin declares;
/// without a declaration, East-North-Up. An attitude that is not relative to the earth is refused by
/// `checkRun`, and dropped.
class FilterAttitudeForm : public OrientationInternal::Filter,
                           public Core::WithoutState,
                           public RunParticipant {
public:
    static constexpr const char* kTypeName = "FilterAttitudeForm";

    explicit FilterAttitudeForm(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }
    void checkRun() override;

private:
    using Matrix = Core::Matrix;

    enum Frame { kAsItComes, kEnu, kNed };

    void onFrame(const int& index);
    std::string_view frameIn() const;
    void settle();

    OrientationInternal::InputPin<Matrix> attitude_{"attitude", this, anyAttitude(Core::kQuaternion)};
    OrientationInternal::OutputPin<Matrix> quaternion_{"quaternion", this, Core::kQuaternion};
    OrientationInternal::OutputPin<Matrix> matrix_{"matrix", this, Core::kRotation};
    // Yaw, pitch, roll: intrinsic turns about z, the new y, the new x.
    OrientationInternal::OutputPin<Matrix> euler_{
        "euler", this, {.shape = {1, 3}, .quantity = "yaw, pitch, roll", .unit = Core::kDegrees}};

    OrientationInternal::EnumProperty<std::string> frame_{
        "Frame",
        this,
        {"as it comes", "enu", "ned"},
        kAsItComes,
        OrientationInternal::handler(this, &FilterAttitudeForm::onFrame)};

    bool isSettled_ = false;         // the next two are those of the property and the connection
    std::optional<EarthTurn> turn_;  // empty: none
    bool isRefused_ = false;         // no turn leads to the frame
};

}  // namespace Kavelin::RecordingIO
