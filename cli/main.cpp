#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <vector>

#include "cli/CommandContext.h"
#include "cli/Program.h"

namespace {

using namespace Kavelin::Cli;

std::string failureMessage(const CLI::App*, const CLI::Error& error) {
    return std::string("kavelin: ") + error.what() + "\nRun with --help for more information.\n";
}

/// A first argument that is neither an option nor a command gets a message of its own: it names the commands.
void requireKnownCommand(const CLI::App& app, int argc, char** argv) {
    if (argc < 2 || *argv[1] == '-') return;
    std::vector<std::string> commands;
    for (const CLI::App* command : app.get_subcommands(nullptr)) {
        if (command->get_name() == argv[1]) {
            if (!command->get_subcommands(nullptr).empty()) requireKnownCommand(*command, argc - 1, argv + 1);
            return;
        }
        commands.push_back(command->get_name());
    }
    throw UsageError(
        fmt::format("there is no command \"{}\"; there are {}", argv[1], fmt::join(commands, ", ")));
}

/// If a standard stream is closed, the next file opened would get its number,
/// and messages would go into the result.
void openStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0 && ::open("/dev/null", O_RDWR) < 0) return;
    }
}

}  // namespace

int main(int argc, char** argv) {
    openStandardStreams();
    CommandContext context{std::cin, std::cout, std::cerr};
    CLI::App app;
    app.failure_message(failureMessage);
    try {
        describeProgram(app, context);
        requireKnownCommand(app, argc, argv);
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
