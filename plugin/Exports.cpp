#include <Kavelin/Typed/PluginExports.h>

#include "plugin/OrientationInternalPlugin.h"

KAVELIN_EXPORT_PLUGIN(Kavelin::OrientationInternal::OrientationInternalPlugin)
