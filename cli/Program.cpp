#include "cli/Program.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <string>

#include "cli/CommandContext.h"
#include "cli/Commands.h"

namespace Kavelin::Cli {

namespace {

/// The commands in the order in which `kavelin --help` shows them.
constexpr void (*kCommands[])(CLI::App&, CommandContext&) = {
    addFuseCommand,    addRunCommand,       addCheckCommand,    addViewCommand,
    addGraphCommand,   addCalibrateCommand, addSimulateCommand, addFormatsCommand,
    addInspectCommand, addScriptCommand,    addValidateCommand, addWorkCommand};

constexpr ExitMeaning kExitMeanings[] = {{kDone, "done"},
                                         {kDoneWithErrors, "done with errors in the data or the run"},
                                         {kUnusable, "wrong usage or a file that cannot be used"}};

std::string footer() {
    std::string meanings;
    for (const ExitMeaning& exit : kExitMeanings)
        meanings += fmt::format("{}{} {}", meanings.empty() ? "" : "; ", exit.status, exit.meaning);
    return "Results go to standard output or files, messages to standard error.\nExit status: " + meanings +
           ".";
}

}  // namespace

std::span<const ExitMeaning> exitMeanings() { return kExitMeanings; }

void describeProgram(CLI::App& app, CommandContext& context) {
    app.name("kavelin");
    app.description("Orientation from inertial and magnetic sensor data: filters, layouts, recordings.");
    app.require_subcommand(1);
    app.set_version_flag("--version", "kavelin " KAVELIN_VERSION);
    app.set_help_all_flag("--help-all", "Print the help of every command and exit");
    app.footer(footer());
    for (const auto add : kCommands) add(app, context);
}

}  // namespace Kavelin::Cli
