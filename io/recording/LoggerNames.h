#pragma once

#include "io/recording/TableForm.h"

namespace Kavelin::RecordingIO {

/// Writes out the names of columns that mean something else, in the tables of some programs, than the same words do
/// elsewhere, and says so in the form's decisions:
/// - messages of ROS, whose linear_acceleration next to angular_velocity includes gravity;
/// - Physics Toolbox, whose ax next to gFx is without gravity, and whose gFx is the accelerometer, in g;
/// - SensorLog of iOS, whose accelerations have the opposite sign.
void writeOutNames(TableForm& form);

}  // namespace Kavelin::RecordingIO
