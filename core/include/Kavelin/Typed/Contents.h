#pragma once

#include <Kavelin/Core/PinContent.h>
#include <Kavelin/Typed/UnitNames.h>

namespace Kavelin::Core {

// What pins of inertial and magnetic sensors and of orientations carry. A pin names one of these where it is
// declared; functions below change a detail:  InputPin<Matrix> field_{"3m", this, optional(kField)};

// Frames of vectors.
inline constexpr std::string_view kSensorFrame = "sensor";
inline constexpr std::string_view kEarthFrame = "earth";
inline constexpr std::string_view kStartFrame = "start";

// Frames of orientations. They decide how two orientations can be compared.
inline constexpr std::string_view kSensorToEarth = "sensor to earth (east, north, up)";
inline constexpr std::string_view kSensorToNorthWestUp = "sensor to earth (north, west, up)";
inline constexpr std::string_view kSensorToStart = "sensor to its pose at the start";
inline constexpr std::string_view kTurnSinceStart = "turn since the start, in an earth frame of its own";

// Vectors, rows of three.
inline constexpr PinContent kAcceleration{
    .shape = {1, 3}, .quantity = kAccelerationName, .unit = kMetresPerSecondSquared, .frame = kSensorFrame};
inline constexpr PinContent kLinearAcceleration{.shape = {1, 3},
                                                .quantity = "linear acceleration",
                                                .unit = kMetresPerSecondSquared,
                                                .frame = kEarthFrame};
inline constexpr PinContent kRate{
    .shape = {1, 3}, .quantity = kRateName, .unit = kRadiansPerSecond, .frame = kSensorFrame};
/// In any unit, but always the same.
inline constexpr PinContent kField{.shape = {1, 3}, .quantity = kFieldName, .frame = kSensorFrame};

// Orientations.
inline constexpr PinContent kQuaternion{.shape = {1, 4}, .quantity = kOrientation};
inline constexpr PinContent kRotation{.shape = {3, 3}, .quantity = kOrientation};

// Numbers.
inline constexpr PinContent kNumber{.shape = {1, 1}};
inline constexpr PinContent kAngle{.shape = {1, 1}, .quantity = kAngleName, .unit = kRadians};
/// 1.0 or 0.0.
inline constexpr PinContent kFlag{.shape = {1, 1}, .quantity = "flag"};
/// A request: its first element counts.
inline constexpr PinContent kRequest{.isOptional = true};

constexpr PinContent optional(PinContent content) {
    content.isOptional = true;
    return content;
}
constexpr PinContent inFrame(PinContent content, std::string_view frame) {
    content.frame = frame;
    return content;
}
constexpr PinContent inUnit(PinContent content, std::string_view unit) {
    content.unit = unit;
    return content;
}
/// 3x1 instead of 1x3.
constexpr PinContent asColumn(PinContent content) {
    content.shape = {content.shape.cols, content.shape.rows};
    return content;
}
constexpr PinContent stampedWithWallClock(PinContent content) {
    content.isWallClockStamped = true;
    return content;
}
constexpr PinContent taking(PinContent content, PinContent::ShapeTest test, std::string_view text = {}) {
    content.takes = test;
    content.takesText = text;
    return content;
}
/// Takes any arrangement of `count` elements.
template <std::ptrdiff_t count>
constexpr bool hasElements(PinShape shape) {
    return shape.rows * shape.cols == count;
}
constexpr PinContent anyArrangement(PinContent content) {
    switch (content.shape.rows * content.shape.cols) {
        case 1:
            return taking(content, hasElements<1>, "1 element");
        case 3:
            return taking(content, hasElements<3>, "3 elements");
        case 4:
            return taking(content, hasElements<4>, "4 elements");
        default:
            return taking(content, hasElements<9>, "9 elements");
    }
}
/// A quaternion as a row or a column, or a rotation matrix.
constexpr PinContent anyAttitude(PinContent content) {
    return taking(
        content,
        [](PinShape shape) {
            return shape == PinShape{1, 4} || shape == PinShape{4, 1} || shape == PinShape{3, 3};
        },
        "1x4, 4x1 or 3x3");
}
/// A quaternion as a row, or a rotation matrix.
constexpr PinContent quaternionOrMatrix(PinContent content) {
    return taking(
        content,
        [](PinShape shape) {
            return shape == PinShape{1, 4} || shape == PinShape{3, 3};
        },
        "1x4 or 3x3");
}

}  // namespace Kavelin::Core
