#pragma once

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/Filter.h>

namespace Kavelin::RecordingIO {

/// The filter of a pin; null for a pin without one, and for no pin.
const Core::Filter* ownerOf(const Core::AbstractOutputPin* pin);

/// The pin that the samples come from, traced through pins that hand them on.
/// @return null without a connection.
const Core::AbstractOutputPin* originOf(const Core::AbstractInputPin& input);

}  // namespace Kavelin::RecordingIO
