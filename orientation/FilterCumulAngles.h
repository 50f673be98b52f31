#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "orientation/integration/AngleAccumulator.h"

namespace Kavelin::OrientationInternal {

/// Accumulates angles over whole turns.
///
/// "angles": any shape, rad, each element wrapped anyhow. "reset": a first element other than 0.0 (a NaN too)
/// restarts with the next sample. "cumul": same shape, rad, each element within half a turn of its last
/// value. "turns": same shape, whole turns since the start. Both are stamped as "angles". A change of shape
/// restarts all elements; an element that is not finite gives NaN and restarts with its next value. A sample
/// without elements is dropped.
class FilterCumulAngles : public Filter, public Core::WithState<FilterCumulAngles> {
public:
    static constexpr const char* kTypeName = "FilterCumulAngles";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterCumulAngles(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(accumulator_);
    }

private:
    void onReset() { accumulator_.reset(); }
    void takeResetRequest();
    void adopt(Eigen::Index rows, Eigen::Index columns);

    static constexpr bool hasElement(Core::PinShape sample) { return sample.rows * sample.cols > 0; }

    InputPin<Matrix> angles_{"angles",
                             this,
                             {.takes = hasElement,
                              .takesText = "at least 1 element",
                              .quantity = "angle",
                              .unit = Core::kRadians}};
    InputPin<Matrix> resetPin_{"reset", this, kRequest, NonBlocking{}};
    OutputPin<Matrix> cumul_{"cumul", this, Matrix::Zero(1, 1)};
    OutputPin<Matrix> turns_{"turns", this, Matrix::Zero(1, 1)};
    CommandProperty reset_{"Reset", this, handler(this, &FilterCumulAngles::onReset)};

    AngleAccumulator accumulator_;
};

}  // namespace Kavelin::OrientationInternal
