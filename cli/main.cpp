#include <CLI/CLI.hpp>
#include <iostream>
#include <vector>

#include "cli/CommandContext.h"
#include "cli/Commands.h"

namespace {

using namespace Kavelin::Cli;

/// The commands in the order in which `kavelin --help` shows them.
const std::vector<void (*)(CLI::App&, CommandContext&)> kCommands = {};

constexpr const char* kFooter =
    "Results go to standard output or files, messages to standard error.\n"
    "Exit status: 0 done; 1 done with errors in the data or the run; 2 wrong usage or a file that cannot be "
    "used.";

void configure(CLI::App& app, CommandContext& context) {
    app.require_subcommand(1);
    app.set_version_flag("--version", "kavelin " KAVELIN_VERSION);
    app.set_help_all_flag("--help-all", "Print the help of every command and exit");
    app.footer(kFooter);
    for (const auto add : kCommands) add(app, context);
}

}  // namespace

int main(int argc, char** argv) {
    CommandContext context{std::cin, std::cout, std::cerr};
    CLI::App app{"Orientation from inertial and magnetic sensor data: filters, layouts, recordings.",
                 "kavelin"};
    try {
        configure(app, context);
        app.parse(argc, argv);
    } catch (const CLI::Success& asked) {  // --help, --version
        app.exit(asked, std::cout, std::cerr);
    } catch (const CLI::ParseError& wrong) {
        app.exit(wrong, std::cout, std::cerr);
        return kUnusable;
    } catch (const std::exception& error) {
        return reportError(context, error);
    }
    if (!std::cout.flush()) {
        std::cerr << "kavelin: standard output could not be written to its end" << std::endl;
        return context.status == kDone ? kDoneWithErrors : context.status;
    }
    return context.status;
}
