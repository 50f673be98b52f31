#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "converters/computers/RateIntegrator.h"

namespace Kavelin::OrientationInternal {

/// Turns each angular rate into the rotation it makes over the time since the previous sample.
///
/// Pins: in "omega" 1x3 row, rad/s, sensor frame (any other shape is dropped); out "RotationMatrix" 3x3, the
/// turn since the previous sample, stamped like the sample. "Clear" forgets the previous sample, so that the
/// next one gives the identity. The numerics are in RateIntegrator.
class FilterOmegaToMatrix : public Filter, public Core::WithState<FilterOmegaToMatrix> {
public:
    static constexpr const char* kTypeName = "FilterOmegaToMatrix";
    static constexpr unsigned kStateVersion = 1;
    explicit FilterOmegaToMatrix(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(integrator_);
    }

private:
    void onClear() { integrator_.clear(); }

    InputPin<Matrix> omega_{"omega", this, kRate};
    OutputPin<Matrix> rotation_{
        "RotationMatrix", this, {.shape = {3, 3}, .quantity = "turn since the previous sample"}};
    CommandProperty clear_{"Clear", this, handler(this, &FilterOmegaToMatrix::onClear)};
    RateIntegrator integrator_;
};

}  // namespace Kavelin::OrientationInternal
