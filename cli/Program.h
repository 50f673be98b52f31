#pragma once

#include <span>

namespace CLI {
class App;
}

namespace Kavelin::Cli {

struct CommandContext;

/// What an exit status of the program means.
struct ExitMeaning {
    int status;
    const char* meaning;
};

std::span<const ExitMeaning> exitMeanings();

/// Makes `app` the program `kavelin`: its commands with their options, and the texts around them. The same
/// description is parsed, shown by --help, and written as manual pages.
/// @param context Outlives `app`.
void describeProgram(CLI::App& app, CommandContext& context);

}  // namespace Kavelin::Cli
