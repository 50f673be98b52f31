#include "io/EarthFrame.h"

#include <Kavelin/Typed/Contents.h>

#include <cmath>

namespace Kavelin::RecordingIO {

using OrientationInternal::fromEigen;
using OrientationInternal::Matrix3;
using OrientationInternal::Quaternion;

namespace {

/// R_enu_earth.
std::optional<Matrix3> toEastNorthUp(std::string_view frame) {
    if (frame == Core::kSensorToEarth) return Matrix3::Identity();
    if (frame == Core::kSensorToNorthWestUp) return (Matrix3() << 0, -1, 0, 1, 0, 0, 0, 0, 1).finished();
    if (frame == kSensorToNorthEastDown) return (Matrix3() << 0, 1, 0, 1, 0, 0, 0, 0, -1).finished();
    return std::nullopt;
}

}  // namespace

std::optional<EarthTurn> earthTurn(std::string_view from, std::string_view to) {
    const auto R_enu_from = toEastNorthUp(from);
    const auto R_enu_to = toEastNorthUp(to);
    if (!R_enu_from || !R_enu_to) return std::nullopt;
    const Matrix3 R_to_from = R_enu_to->transpose() * *R_enu_from;
    return EarthTurn{R_to_from, fromEigen(Eigen::Quaterniond(R_to_from)).normalized()};
}

std::string_view earthFrameCalled(std::string_view label) {
    if (label == "enu") return Core::kSensorToEarth;
    return label == "ned" ? kSensorToNorthEastDown : std::string_view();
}

}  // namespace Kavelin::RecordingIO
