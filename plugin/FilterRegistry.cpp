#include "plugin/FilterRegistry.h"

#include "converters/FilterCompass.h"
#include "converters/FilterInclinometer.h"

namespace Kavelin::OrientationInternal {

namespace {

// Alphabetical, case ignored, digits first; the host shows the types in this order.
constexpr Core::RegistryRow kRows[] = {
    Core::row<FilterCompass>(),
    Core::row<FilterInclinometer>(),
};

}  // namespace

std::span<const Core::RegistryRow> filterRegistry() { return kRows; }

}  // namespace Kavelin::OrientationInternal
