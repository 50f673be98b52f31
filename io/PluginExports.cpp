#include <Kavelin/Typed/PluginExports.h>

#include "io/RecordingIOPlugin.h"

KAVELIN_EXPORT_PLUGIN(Kavelin::RecordingIO::RecordingIOPlugin)
