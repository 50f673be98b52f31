#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::RecordingIO {

/// Turns the attitude of a unit into that of the body segment that carries it:
/// q_earth_segment = turn about the vertical by "Heading" * q_earth_sensor * q_sensor_segment ("Mounting").
/// A sample of another shape, and one that is no rotation, is dropped.
class FilterSegment : public OrientationInternal::Filter, public Core::WithState<FilterSegment> {
public:
    static constexpr const char* kTypeName = "FilterSegment";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterSegment(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(q_sensor_segment_, turn_);
    }

private:
    using Matrix = Core::Matrix;
    using Quaternion = OrientationInternal::Quaternion;

    /// @throws Poco::DataFormatException unless it is 1x4, finite and not zero.
    void onMounting(const Matrix& mounting);
    void onHeading(const double& degrees);

    OrientationInternal::InputPin<Matrix> attitude_{"attitude", this, anyAttitude(Core::kQuaternion)};
    OrientationInternal::OutputPin<Matrix> segment_{"segment", this, Core::kQuaternion};
    OrientationInternal::ValueProperty<Matrix> mounting_{
        "Mounting", this, Matrix{{1, 0, 0, 0}},
        OrientationInternal::handler(this, &FilterSegment::onMounting)};
    OrientationInternal::RangeProperty<double> heading_{
        "Heading",
        this,
        {.minimum = -360.0, .maximum = 360.0, .step = 0.0, .value = 0.0, .unit = "deg"},
        OrientationInternal::handler(this, &FilterSegment::onHeading)};

    Quaternion q_sensor_segment_{1, 0, 0, 0};
    Quaternion turn_{1, 0, 0, 0};
};

}  // namespace Kavelin::RecordingIO
