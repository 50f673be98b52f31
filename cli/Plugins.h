#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Kavelin::Cli {

struct CommandContext;

/// The option `--plugin NAME-OR-PATH`, which may be given several times.  @param plugins where the values go.
void addPluginOption(CLI::App& command, std::vector<std::string>& plugins);

/// The modules `KavelinPlugin*.so` of the search path, by name; of equal names the first.
std::vector<std::filesystem::path> pluginsFound();

/// Loads every module `KavelinPlugin*.so` of the search path (of equal names the first), then those named.
/// One of the search path that cannot be loaded is reported and left out; one that was asked for throws.
void loadPlugins(CommandContext& context, const std::vector<std::string>& named);

}  // namespace Kavelin::Cli
