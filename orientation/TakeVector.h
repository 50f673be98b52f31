#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <optional>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

inline bool isRow3(const Matrix& sample) { return sample.rows() == 1 && sample.cols() == 3; }

/// Takes the next sample of a pin and returns it when it is exactly 1x3. A sample of another shape is
/// consumed all the same.  @param t receives the sample's time stamp when it is returned.  [layout thread]
inline std::optional<Vector3> takeVector(InputPin<Matrix>& pin, double& t) {
    if (!pin.readNext() || !isRow3(pin.value())) return std::nullopt;
    t = pin.lastTimeStamp();
    return Vector3(firstThree(pin.value()));
}

}  // namespace Kavelin::OrientationInternal
