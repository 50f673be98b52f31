#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "attitude/rotation/RelativeAttitudeComputer.h"

namespace Kavelin::OrientationInternal {

/// Adapts the orientation of an external inertial unit to the axes used here,
/// relative to a captured reference.
///
/// Pins: in "attitude xsens" 3x3 (any other shape is dropped); out "attitude" 3x3, C C0^T with C = F X,
/// F = diag(-1, 1, -1), and C0 the C of the first sample after construction and after each "Reference".
/// Deliberate: the output is stamped with the wall clock (s since 15 October 1582),
/// not with the sample's time.
class FilterXSENSAttitude : public Filter, public Core::WithState<FilterXSENSAttitude> {
public:
    static constexpr const char* kTypeName = "FilterXSENSAttitude";
    static constexpr unsigned kStateVersion = 1;
    explicit FilterXSENSAttitude(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(relative_, referenceRequested_);
    }

private:
    void onReference() { referenceRequested_ = true; }

    InputPin<Matrix> unit_{"attitude xsens", this, kRotation};
    OutputPin<Matrix> attitude_{"attitude", this, stampedWithWallClock(kRotation)};
    CommandProperty reference_{"Reference", this, handler(this, &FilterXSENSAttitude::onReference)};
    RelativeAttitudeComputer relative_;
    const Matrix3 axisFlip_ = Vector3(-1, 1, -1).asDiagonal();  // half a turn about y
    bool referenceRequested_ = true;
};

}  // namespace Kavelin::OrientationInternal
