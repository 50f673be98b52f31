#pragma once

#include <Kavelin/Core/Filter.h>

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace Kavelin::Cli {

class PropertyBoard;

/// What is built, as the page shows it: layouts, filters with their pins and properties, connections, orientations, joints.
/// [not in a `process`]
nlohmann::ordered_json describeLayout(const std::vector<Core::Filter*>& filters, PropertyBoard& properties);

/// Whether one of the filters takes rows as they come from elsewhere.  [not running]
bool isLive(const std::vector<Core::Filter*>& filters);
/// Whether they can be run again from the start of all that they read.  [not running]
bool canBeRepeated(const std::vector<Core::Filter*>& filters);

/// Files that the filters write, by the names that pages see.  [not running]
std::vector<std::string> resultFiles(const std::vector<Core::Filter*>& filters);

}  // namespace Kavelin::Cli
