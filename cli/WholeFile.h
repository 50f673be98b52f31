#pragma once

#include <string>
#include <string_view>

namespace Kavelin::Cli {

enum class Durable { kNo, kYes };

/// Writes a file whole or not at all: under `PATH.part`, which then takes the name PATH. An existing path
/// that is not an ordinary file (a pipe, a device) is written directly.
/// @param durable kYes: it outlasts a loss of power from then on
/// @throws Poco::WriteFileException with the path and the system's reason;
/// what was at PATH is then still there.
void writeWholeFile(const std::string& path, std::string_view text, Durable durable = Durable::kNo);

}  // namespace Kavelin::Cli
