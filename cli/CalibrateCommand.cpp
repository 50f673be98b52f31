#include <CLI/CLI.hpp>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/calibrate/CalibrateRun.h"

namespace Kavelin::Cli {

namespace {

void addKind(CLI::App& command, const CalibrationKind& kind, CommandContext& context) {
    CLI::App* sub = command.add_subcommand(kind.name, kind.title);
    const auto options = std::make_shared<CalibrateOptions>();
    sub->add_option("RECORDING", options->recording, "As kavelin fuse takes it; - is standard input")
        ->type_name("")
        ->required();
    sub->add_option(
           "-o,--output", options->output,
           "File to write; where it is a calibration already, its other parts stay; - is standard output, "
           "with the report on standard error")
        ->check([](const std::string& name) { return name.empty() ? "a file name is expected" : ""; })
        ->type_name("FILE.json");
    if (kind.canDraw) {
        sub->add_option("--plot", options->plot, "Draw what was seen")->type_name("FILE.svg|FILE.png");
    }
    sub->add_option("--calibration", options->calibration,
                    "What is known of the unit already: applied before, but for the part that is made")
        ->type_name("FILE.json");
    if (kind.addOptions) kind.addOptions(*sub, *options);
    addRecordingOptions(*sub, *options);
    sub->callback([&kind, options, &context] { calibrate(kind, *options, context); });
}

}  // namespace

void addCalibrateCommand(CLI::App& app, CommandContext& context) {
    CLI::App* command = app.add_subcommand(
        "calibrate", "Find a unit's errors in a recording that was made for it, to be applied to others");
    command->require_subcommand(1);
    for (const CalibrationKind& kind : calibrationKinds()) addKind(*command, kind, context);
}

}  // namespace Kavelin::Cli
