#pragma once

#include <Kavelin/Core/Filter.h>

#include <string>

namespace Kavelin::Cli {

/// The property by which a filter names its settings file.
inline constexpr const char* kSettingsProperty = "Settings File Name";

/// The settings file for a filter whose user names none: that of the filter's default name, seen from the
/// current folder; where there is none, the installed one of the same file name, in the folder FILTER of the
/// program's data.  @return its whole path; empty when there is neither, or no such property.
std::string defaultSettings(const Core::Filter& filter);

/// The settings file that a filter has, as messages name it: "./..." where it lies below the current folder,
/// else its whole path.  @return empty when the filter has none, or it is not there.
std::string settingsInUse(const Core::Filter& filter);

}  // namespace Kavelin::Cli
