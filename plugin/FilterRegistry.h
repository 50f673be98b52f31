#pragma once

#include <Kavelin/Typed/FilterRegistry.h>

#include <span>

namespace Kavelin::OrientationInternal {

/// The filter types of this plugin, in the order in which the host lists them.
/// Adding a filter is one row here.
std::span<const Core::RegistryRow> filterRegistry();

}  // namespace Kavelin::OrientationInternal
