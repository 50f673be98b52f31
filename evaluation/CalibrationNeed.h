#pragma once

#include <optional>

#include "evaluation/Evidence.h"

namespace Kavelin::RecordingIO {

/// By how much the field's norm changes with the direction of the unit, beyond what a calibrated magnetometer shows.
///
/// Told by the gyroscope, to which a hard iron is a part of the field that does not turn, or by the norm itself where
/// the direction explains most of its changes, whatever the time and so the place. A heuristic of ours.
/// @return share of the norm by which it is off at most; nothing where it is below 5 %, or where that cannot be told
/// from a disturbed place.  Never throws.
std::optional<double> calibrationNeed(const Evidence& evidence);

}  // namespace Kavelin::RecordingIO
