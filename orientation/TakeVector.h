#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <optional>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Takes the next sample of a pin that takes vectors, and returns it when it is one. A sample of another
/// shape is consumed all the same. @param t receives the sample's time stamp when it
/// is returned. [layout thread]
inline std::optional<Vector3> takeVector(InputPin<Matrix>& pin, double& t) {
    if (!pin.readNext() || !pin.fits()) return std::nullopt;
    t = pin.lastTimeStamp();
    return Vector3(firstThree(pin.value()));
}

}  // namespace Kavelin::OrientationInternal
