#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "orientation/joint/HingeHeading.h"

namespace Kavelin::RecordingIO {

/// Keeps the headings of two segments together that a hinge joins: turns the attitude of G about the vertical
/// so that the hinge, z of both, has one heading, on average over "Time constant" (see HingeHeading). Takes one
/// sample of each input; a pair with a sample of another shape is dropped.
class FilterHingeHeading : public OrientationInternal::Filter, public Core::WithState<FilterHingeHeading> {
public:
    static constexpr const char* kTypeName = "FilterHingeHeading";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterHingeHeading(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(tracker_);
    }

private:
    using Matrix = Core::Matrix;

    void onTimeConstant(const double& seconds) { tracker_.setTimeConstant(seconds); }

    OrientationInternal::InputPin<Matrix> d_{"D", this, Core::kQuaternion};
    OrientationInternal::InputPin<Matrix> g_{"G", this, Core::kQuaternion};
    OrientationInternal::OutputPin<Matrix> turned_{"turned", this, Core::kQuaternion};
    OrientationInternal::OutputPin<Matrix> heading_{"heading", this, Core::kAngle};
    OrientationInternal::RangeProperty<double> timeConstant_{
        "Time constant",
        this,
        {.minimum = 0.0, .maximum = 1e6, .step = 0.0, .value = kTimeConstant, .unit = "s"},
        OrientationInternal::handler(this, &FilterHingeHeading::onTimeConstant)};

    static constexpr double kTimeConstant = 2.0;
    OrientationInternal::HingeHeading tracker_;
};

}  // namespace Kavelin::RecordingIO
