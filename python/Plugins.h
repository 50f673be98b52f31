#pragma once

#include <string>
#include <vector>

namespace Kavelin::Python {

/// Loads, at its first call, the plugins of the search path, as the program does; then those named. One of the search
/// path that cannot be loaded is a Python warning; one that was named throws.  [with the interpreter's lock]
void usePlugins(const std::vector<std::string>& named = {});

}  // namespace Kavelin::Python
