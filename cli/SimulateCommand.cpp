#include <unistd.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/Interruption.h"
#include "cli/SimulateOptions.h"
#include "cli/fuse/ProgressBar.h"
#include "io/SimulatedTable.h"
#include "io/recording/ResultFile.h"

namespace Kavelin::Cli {

namespace {

using RecordingIO::SimulationOptions;

constexpr std::uint64_t kRowsBetweenLooks = 256;  // at the clock

void write(const SimulateOptions& options, RecordingIO::ResultFile& file, CommandContext& context) {
    const SimulationOptions& simulation = options.simulation;
    const bool showsRows = options.output == "-" && ::isatty(STDOUT_FILENO) == 1;
    ProgressBar progress(context.err, !showsRows);
    const double rows = simulation.seconds * simulation.rate * (1.0 - simulation.missing);
    const auto isStopped = [&] {
        if (progress.isOn() && file.rows() % kRowsBetweenLooks == 0)
            progress.show(file.rows(), static_cast<double>(file.rows()) / rows);
        return Interruption::hasCome();
    };
    RecordingIO::writeSimulation(simulation, !options.withoutTruth, file, isStopped);
    file.finish();
}

void simulate(SimulateOptions options, CommandContext& context) {
    options.settleLength();
    RecordingIO::requireTableName(options.output);
    const Interruption interruption;
    context.out.flush();
    RecordingIO::ResultFile file(options.output);
    write(options, file, context);
    if (!Interruption::hasCome()) return;
    context.err << "kavelin: interrupted; the rows done are kept" << std::endl;
    context.status = kDoneWithErrors;
}

}  // namespace

void addSimulateCommand(CLI::App& app, CommandContext& context) {
    const auto options = std::make_shared<SimulateOptions>();
    CLI::App* command = app.add_subcommand(
        "simulate", "Write a recording with truth, from a seeded motion and sensor error model");
    command->add_option("-o,--output", options->output, "File to write; - is standard output")
        ->type_name("FILE")
        ->capture_default_str();
    addSimulationOptions(*command, *options);
    command->callback([options, &context] { simulate(*options, context); });
}

}  // namespace Kavelin::Cli
