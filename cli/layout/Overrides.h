#pragma once

#include <string>

#include "cli/layout/LayoutFile.h"

namespace Kavelin::Cli {

/// Puts "FILTER:PROPERTY=VALUE" in place of what the file says, or after the filter's other properties;
/// without FILTER, among the settings whose filter is found when the layout is built. "FILTER:COMMAND" goes
/// after the filter's other commands. VALUE is a text form, a label, or a matrix as JSON ([[1, 2, 3]]); it
/// may hold "=". Adds a mistake for any other form, and where no filter has that name.
/// @param written what the user wrote, where that is another text
void overrideProperty(LayoutFile& layout, const std::string& assignment, Mistakes& mistakes,
                      const std::string& written = {});

/// The value that a text stands for: a matrix where it is JSON, else the text itself.
/// @return false after adding what is wrong to `mistakes`.
bool readOverride(const std::string& text, const Place& place, PropertyValue& value, Mistakes& mistakes);

/// Puts "NAME=VALUE" in place of the file's variable, or after its variables. VALUE may hold "=".
void overrideVariable(LayoutFile& layout, const std::string& assignment, Mistakes& mistakes);

/// Sets a variable; `option` is what the user wrote to set it, for messages.
void setVariable(LayoutFile& layout, const std::string& name, const std::string& value,
                 const std::string& option);

}  // namespace Kavelin::Cli
