#pragma once

#include <Kavelin/Core/Plugin.h>

namespace Kavelin::OrientationInternal {

/// The plugin object: describes itself and offers a factory for each filter type of the registry.
class OrientationInternalPlugin : public Core::DefaultPlugin {
public:
    OrientationInternalPlugin();
};

}  // namespace Kavelin::OrientationInternal
