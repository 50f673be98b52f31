#pragma once

#include <Kavelin/Typed/Contents.h>

#include <optional>
#include <string_view>

#include "evaluation/AttitudeErrors.h"
#include "io/EarthFrame.h"

namespace Kavelin::RecordingIO {

/// What an attitude in a frame, as its pin declares it, and a reference to the earth cannot agree on. An
/// unknown frame may have any heading. Empty where no single rotation makes the two comparable.
inline std::optional<Alignment> alignmentOf(std::string_view frame) {
    if (frame == Core::kTurnSinceStart) return std::nullopt;
    if (frame == Core::kSensorToEarth || frame == kSensorToNorthEastDown) return Alignment::kNone;
    return frame == Core::kSensorToStart ? Alignment::kStart : Alignment::kHeading;
}

}  // namespace Kavelin::RecordingIO
