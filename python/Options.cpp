#include "python/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "cli/CommandContext.h"
#include "cli/fuse/FuseArguments.h"

namespace Kavelin::Python {

namespace {

void parse(CLI::App& app, const Arguments& given) {
    std::vector<std::string> arguments;
    for (const Text& argument : given) arguments.push_back(argument.bytes);
    app.set_help_flag();
    std::ranges::reverse(arguments);  // as the parser wants them
    try {
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& wrong) {
        throw Cli::UsageError(wrong.what());
    }
}

}  // namespace

Cli::RecordingChoice recordingOptions(const Arguments& arguments) {
    CLI::App app;
    Cli::RecordingChoice choice;
    Cli::addRecordingOptions(app, choice);
    parse(app, arguments);
    return choice;
}

Cli::FuseOptions fuseOptions(const Arguments& arguments) {
    CLI::App app;
    Cli::FuseOptions options;
    Cli::addFuseOptions(app, options);
    parse(app, arguments);
    return options;
}

Cli::SimulateOptions simulateOptions(const Arguments& arguments) {
    CLI::App app;
    Cli::SimulateOptions options;
    Cli::addSimulationOptions(app, options);
    parse(app, arguments);
    options.settleLength();
    return options;
}

RecordingIO::OpenOptions readerOptions(const Cli::RecordingChoice& choice) {
    RecordingIO::OpenOptions options = Cli::openOptions(choice);
    options.sensor = choice.sensor;
    options.units = RecordingIO::parseUnits(choice.units);
    options.axes = RecordingIO::parseAxes(choice.axes);
    return options;
}

}  // namespace Kavelin::Python
