#pragma once

#include <string>

namespace Kavelin::Cli {

/// Whether two paths lead to one ordinary file, there already or yet to be written.
/// Pipes and devices are nobody's.
bool isSameFile(const std::string& a, const std::string& b);

}  // namespace Kavelin::Cli
