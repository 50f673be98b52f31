#pragma once

#include <string>

namespace Kavelin::Python {

/// Issues a kavelin.Warning for each line of the program's messages, without their "kavelin: ". Where the user has made
/// warnings errors, the first is thrown.  [with the interpreter's lock]
void warnOf(const std::string& messages);

}  // namespace Kavelin::Python
