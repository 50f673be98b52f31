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

/// The options that `add` gives a command, as the program reads them.
template <class Options>
Options parsed(void (*add)(CLI::App&, Options&), const Arguments& arguments) {
    CLI::App app;
    Options options;
    add(app, options);
    parse(app, arguments);
    return options;
}

}  // namespace

Cli::RecordingChoice recordingOptions(const Arguments& arguments) {
    return parsed<Cli::RecordingChoice>(Cli::addRecordingOptions, arguments);
}

Cli::FuseOptions fuseOptions(const Arguments& arguments) {
    return parsed<Cli::FuseOptions>(Cli::addFuseOptions, arguments);
}

Cli::SimulateOptions simulateOptions(const Arguments& arguments) {
    auto options = parsed<Cli::SimulateOptions>(Cli::addSimulationOptions, arguments);
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
