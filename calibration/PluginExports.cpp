#include <Kavelin/Typed/PluginExports.h>

#include "calibration/CalibrationPlugin.h"

KAVELIN_EXPORT_PLUGIN(Kavelin::Calibration::CalibrationPlugin)
