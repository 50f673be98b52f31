#pragma once

namespace CLI {
class App;
}

namespace Kavelin::Cli {

struct CommandContext;

// Each adds its subcommand to `app`; the subcommand's callback does the work while the arguments are parsed,
// reports through `context` and throws for what ends it. One source file per command; `Program.cpp` lists them.
void addInspectCommand(CLI::App& app, CommandContext& context);
void addValidateCommand(CLI::App& app, CommandContext& context);
void addScriptCommand(CLI::App& app, CommandContext& context);
void addRunCommand(CLI::App& app, CommandContext& context);
void addCheckCommand(CLI::App& app, CommandContext& context);
void addFuseCommand(CLI::App& app, CommandContext& context);
void addFormatsCommand(CLI::App& app, CommandContext& context);
void addCalibrateCommand(CLI::App& app, CommandContext& context);
void addSimulateCommand(CLI::App& app, CommandContext& context);
void addGraphCommand(CLI::App& app, CommandContext& context);
void addWorkCommand(CLI::App& app, CommandContext& context);
void addViewCommand(CLI::App& app, CommandContext& context);

}  // namespace Kavelin::Cli
