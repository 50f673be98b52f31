#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "orientation/integration/QuaternionSmoother.h"

namespace Kavelin::OrientationInternal {

/// Corrects each quaternion of a stream by its neighbours, weighted with the kernel "alphas".
/// It does not smooth.
///
/// "in": exactly 4 elements of any shape, w, x, y, z; others are dropped. "out": 1x4, not normalised, stamped
/// as the sample. The first n - 1 samples pass unchanged, n being the number of coefficients, and again after
/// each accepted write of "alphas". The newest sample is the one corrected;
/// see QuaternionSmoother for the consequence.
class FilterQuaternionFilter : public Filter, public Core::WithState<FilterQuaternionFilter> {
public:
    static constexpr const char* kTypeName = "FilterQuaternionFilter";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterQuaternionFilter(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(kernelChanged_, smoother_);
    }

private:
    /// @throws Poco::DataFormatException for fewer than 3 coefficients and for an even number of them.
    void onKernel(const Matrix& kernel);

    InputPin<Matrix> in_{"in", this, anyArrangement(kQuaternion)};
    OutputPin<Matrix> out_{"out", this, kQuaternion};
    ValueProperty<Matrix> kernel_{"alphas", this, Matrix{{0.25, 0.5, 0.25}},
                                  handler(this, &FilterQuaternionFilter::onKernel)};

    bool kernelChanged_ = false;
    QuaternionSmoother smoother_;
};

}  // namespace Kavelin::OrientationInternal
