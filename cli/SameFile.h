#pragma once

#include <string>

namespace Kavelin::Cli {

/// Whether two paths lead to the same ordinary file, existing or yet to be written.
/// False for pipes and devices, which may be shared.
bool isSameFile(const std::string& a, const std::string& b);

}  // namespace Kavelin::Cli
