#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "attitude/rotation/AbsoluteAttitudeComputer.h"

namespace Kavelin::OrientationInternal {

/// Turns relative attitudes into absolute ones with the latest earth frame of gravity and field.
///
/// Pins: in "3a", "3m" 3 elements of any shape, sensor frame, any unit; in "rel" 9 elements, row by row,
/// which drives the filter; out "abs" 3x3, frame * rel, stamped like "rel". The frame is R_earth_sensor (rows
/// north, west, up), the identity until the first complete pair, and is kept until the next. One "3a" and one
/// "3m" are taken for each "rel", "3m" only where there was a "3a". No properties.
class FilterAbsoluteAttitude : public Filter, public Core::WithState<FilterAbsoluteAttitude> {
public:
    static constexpr const char* kTypeName = "FilterAbsoluteAttitude";
    static constexpr unsigned kStateVersion = 1;
    explicit FilterAbsoluteAttitude(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(referenceFrame_);
    }

private:
    void updateReferenceFrame();

    InputPin<Matrix> acc_{"3a", this, optional(anyArrangement(inUnit(kAcceleration, "")))};
    InputPin<Matrix> mag_{"3m", this, optional(anyArrangement(kField))};
    InputPin<Matrix> relative_{"rel", this, anyArrangement(kRotation)};
    OutputPin<Matrix> absolute_{"abs", this, kRotation};
    AbsoluteAttitudeComputer computer_;
    Matrix3 referenceFrame_ = Matrix3::Identity();
};

}  // namespace Kavelin::OrientationInternal
