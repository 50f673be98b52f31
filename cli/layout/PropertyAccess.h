#pragma once

#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/Filter.h>

#include <filesystem>

#include "cli/layout/PropertyValue.h"

namespace Kavelin::Cli {

/// Names of the filter's commands, or of its properties that have a value.
std::vector<std::string> propertyNames(const Core::Filter& filter, bool commands);

/// Writes a property from a layout's value. A file name that is relative after its variables are expanded
/// starts from `folder` (empty: from the current one); "-" stays as it is.
/// @throws UsageError when the value's type is not the property's, or a variable of a file name is not set;
/// else what the property raises.
void writeProperty(Core::AbstractProperty& property, const PropertyValue& value,
                   const std::filesystem::path& folder);

/// The present value itself, numbers in full, so that `writeProperty` brings it back: a label where the
/// property has labels, a file name whole, or without a leading `folder`.
PropertyValue presentValue(const Core::AbstractProperty& property, const std::filesystem::path& folder);

/// The text of a refusal: its message, or, where it has none (a label index out of range),
/// the list of labels.
std::string refusalText(const Core::AbstractProperty& property, const PropertyValue& value,
                        const std::exception& error);

}  // namespace Kavelin::Cli
