#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "io/recording/Axes.h"
#include "io/recording/Schema.h"
#include "io/recording/TableForm.h"
#include "io/recording/Units.h"

namespace Kavelin::RecordingIO {

/// What a pin of that name carries; kNone where the name does not tell.
Quantity quantityOfPin(std::string_view pin);

/// The unit of that name, for a pin; an empty name is the base unit.
/// @param notes what is said of a field whose unit is not known, which passes unchanged
/// @throws Poco::DataFormatException for a name that is no unit of what the pin carries
Unit unitOfPin(const std::string& pin, const std::string& name, std::vector<std::string>& notes);

/// Lays a channel's elements along the axes that are chosen, and says what its orientations are relative to.
void turnChannel(Channel& channel, const TableForm& form, const AxesChoice& axes);

}  // namespace Kavelin::RecordingIO
