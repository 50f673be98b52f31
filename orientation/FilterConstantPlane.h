#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "attitude/rotation/AbsoluteAttitudeComputer.h"
#include "orientation/frames/ConstPlaneComputer.h"

namespace Kavelin::OrientationInternal {

/// Turns the magnetic field into the heading angle of a unit that turns in a known plane.
///
/// Pins: in "3m" 3 elements of any shape, sensor frame, any unit; out "angle" 1x1, rad, minus the
/// right-handed turn of the field about the normal since the reference, then "attitude" 3x3, the turn by it;
/// both stamped like "3m". Properties: "plane.x", "plane.y", "plane.z" are the plane's normal, of any length;
/// "reference" takes the next field as the reference, as does the sample that follows a change of the plane.
class FilterConstantPlane : public Filter, public Core::WithState<FilterConstantPlane> {
public:
    static constexpr const char* kTypeName = "FilterConstantPlane";
    static constexpr unsigned kStateVersion = 1;
    explicit FilterConstantPlane(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(plane_, planeChanged_, referenceRequested_);
    }

private:
    void onPlane(const double&) { planeChanged_ = true; }
    void onReference() { referenceRequested_ = true; }

    Vector3 axisForThisSample(const Vector3& field);

    InputPin<Matrix> mag_{"3m", this, anyArrangement(kField)};
    OutputPin<Matrix> angle_{"angle", this, kAngle};
    OutputPin<Matrix> attitude_{"attitude", this, inFrame(kRotation, "turn about the plane's normal")};
    RangeProperty<double> planeX_{"plane.x",
                                  this,
                                  {.minimum = -10, .maximum = 10, .step = 0.01, .value = 0, .unit = ""},
                                  handler(this, &FilterConstantPlane::onPlane)};
    RangeProperty<double> planeY_{"plane.y",
                                  this,
                                  {.minimum = -10, .maximum = 10, .step = 0.01, .value = 0, .unit = ""},
                                  handler(this, &FilterConstantPlane::onPlane)};
    RangeProperty<double> planeZ_{"plane.z",
                                  this,
                                  {.minimum = -10, .maximum = 10, .step = 0.01, .value = 1, .unit = ""},
                                  handler(this, &FilterConstantPlane::onPlane)};
    CommandProperty reference_{"reference", this, handler(this, &FilterConstantPlane::onReference)};
    ConstPlaneComputer plane_;
    bool planeChanged_ = true;
    bool referenceRequested_ = true;
};

}  // namespace Kavelin::OrientationInternal
