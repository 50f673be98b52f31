#pragma once

#include <string>
#include <string_view>

namespace Kavelin::Cli {

/// Appends bytes in short, as those in which they differ from others at the same place: what a unit has not changed since it
/// began, and what its filters never use, costs nothing.
void appendDifference(std::string& to, std::string_view base, std::string_view bytes);

/// The bytes again.  @param longest at most as many
/// @throws Poco::DataFormatException for what is no difference
std::string applyDifference(std::string_view base, std::string_view difference, std::size_t longest);

}  // namespace Kavelin::Cli
