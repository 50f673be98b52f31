#pragma once

#include <Kavelin/Typed/Matrix.h>

#include <optional>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::Quaternion;

/// The attitude that a sample of a pin holds: four elements are a quaternion, as it stands; nine a matrix,
/// whose quaternion has w of 0 or more.  @return empty for another number of elements.
inline std::optional<Quaternion> attitudeOf(const Core::Matrix& sample) {
    if (sample.size() == 4) return Eigen::Map<const Quaternion>(sample.data());
    if (sample.size() != 9) return std::nullopt;
    const OrientationInternal::Matrix3 rotation = OrientationInternal::firstNine(sample);
    const Quaternion q = OrientationInternal::fromEigen(Eigen::Quaterniond(rotation));
    return q[0] < 0.0 ? Quaternion(-q) : q;
}

}  // namespace Kavelin::RecordingIO
