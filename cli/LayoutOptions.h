#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/layout/LayoutFile.h"

namespace CLI {
class App;
}

namespace Kavelin::Cli {

struct CommandContext;

/// What the commands on layouts share: the layout file and what the command line puts in place of its contents.
struct LayoutOptions {
    std::string file;
    std::string out;  ///< the variable OUT; empty: as the file says, else the current folder
    std::vector<std::string> variables, properties;
};

/// Adds LAYOUT.json, --var and --set to a command.
void addLayoutFile(CLI::App& command, LayoutOptions& options);

/// The same and -o.
void addLayoutOptions(CLI::App& command, LayoutOptions& options);

/// Reads the file and applies the overrides.  @throws UsageError when the file cannot be read.
LayoutFile readLayout(const LayoutOptions& options, Mistakes& mistakes);

/// A line on `context.err` for each mistake, in the order of the file.
void printMistakes(CommandContext& context, const std::string& file, Mistakes mistakes);

}  // namespace Kavelin::Cli
