#pragma once

#include <string>
#include <vector>

#include "io/files/MatContents.h"
#include "io/formats/Format.h"

namespace Kavelin::RecordingIO {

/// Sensors of a file with one entry a channel in "Channels", "Time" and "Data", as Trigno units export it: "Thigh:
/// ACC.X 2" is the x axis of the accelerometer of "Thigh", in g; rates are in deg/s. Empty for other files.
std::vector<SensorPlan> trignoSensors(const MatContents& contents, const Sighting& sighting,
                                      const std::string& file);

}  // namespace Kavelin::RecordingIO
