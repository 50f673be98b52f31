#include "plugin/OrientationInternalPlugin.h"

#include <Kavelin/Core/Version.h>

#include "plugin/FilterRegistry.h"

namespace Kavelin::OrientationInternal {

OrientationInternalPlugin::OrientationInternalPlugin()
    : DefaultPlugin("OrientationInternal", KAVELIN_VERSION) {
    metaData_.version = KAVELIN_VERSION;
    metaData_.hostVersion = Core::kHostVersion;
    metaData_.name = "OrientationInternal";
    metaData_.description = "This is the plugin that wraps OrientationInternal elements.";
    // Deliberate: platform and date name the interface's first release, not this build;
    // hosts show them as they are.
    metaData_.platform = "win32";
    metaData_.buildDate = "Tue 06/27/2017";
    Core::registerFilters(*this, filterRegistry());
}

}  // namespace Kavelin::OrientationInternal
