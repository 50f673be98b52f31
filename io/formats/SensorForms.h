#pragma once

#include <optional>
#include <string>
#include <vector>

#include "io/formats/Format.h"

namespace Kavelin::RecordingIO {

/// The form of a table of several sensors, of which one is read: the columns of the others have no name, those
/// that belong to no sensor stay.
TableForm formOfSensor(const TableForm& form, const std::string& sensor);

/// Lets the counters of several sensors that count together begin at one instant: the first value of the
/// sensor that began first. Does nothing where one of them has no counter.
void shareOrigin(const Sighting& sighting, std::vector<SensorPlan>& sensors);

}  // namespace Kavelin::RecordingIO
