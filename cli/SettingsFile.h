#pragma once

#include <Kavelin/Core/Filter.h>

#include <filesystem>
#include <string>

namespace Kavelin::Cli {

/// The property by which a filter names its settings file.
inline constexpr const char* kSettingsProperty = "Settings File Name";

/// The settings file for a filter when the user names none: the file of the filter's default name, relative
/// to the current folder; if that does not exist, the installed file of the same name, in the folder FILTER
/// of the program's data. @return its absolute path; empty when neither exists,
/// or the filter has no such property.
std::string defaultSettings(const Core::Filter& filter);

/// Where the program's file lies, for code that runs in another program: its data is found from there.
void setProgramFolder(const std::filesystem::path& folder);

/// The settings file that a filter uses, as messages name it: "./..." where it lies below the current folder,
/// else its absolute path. @return empty when the filter has none, or the file does not exist.
std::string settingsInUse(const Core::Filter& filter);

}  // namespace Kavelin::Cli
