#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <limits>
#include <memory>
#include <ostream>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/Interruption.h"
#include "cli/SimulateFaults.h"
#include "cli/fuse/ProgressBar.h"
#include "io/SimulatedTable.h"
#include "io/recording/ResultFile.h"

namespace Kavelin::Cli {

namespace {

using RecordingIO::SimulationOptions;

constexpr std::uint64_t kRowsBetweenLooks = 256;  // at the clock

struct SimulateOptions {
    SimulationOptions simulation;
    std::string output = "-";
    std::uint64_t rows = 0;  ///< 0: as `seconds` says
    bool withoutTruth = false;
};

/// What a text must be for an option that takes a whole number; the parser itself would take -1 for 2^64-1.
CLI::Validator wholeNumberFrom(std::uint64_t least) {
    const auto check = [least](const std::string& text) -> std::string {
        std::uint64_t number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error == std::errc() && end == text.data() + text.size() && number >= least) return {};
        return fmt::format("takes a whole number from {} to {}; this is '{}'", least,
                           std::numeric_limits<std::uint64_t>::max(), text);
    };
    return {check, "", "whole number"};
}

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
    // Half a row less than the last, so that rounding can neither add nor lose one.
    if (options.rows > 0) {
        options.simulation.seconds = (static_cast<double>(options.rows) - 0.5) / options.simulation.rate;
    }
    RecordingIO::requireTableName(options.output);
    const Interruption interruption;
    context.out.flush();
    RecordingIO::ResultFile file(options.output);
    write(options, file, context);
    if (!Interruption::hasCome()) return;
    context.err << "kavelin: interrupted; the rows done are kept" << std::endl;
    context.status = kDoneWithErrors;
}

void addErrorOptions(CLI::App& command, SimulationOptions& simulation) {
    const std::string group = "Sensor errors and disturbances";
    const auto add = [&](const char* name, double& value, const char* type, const char* help) {
        command.add_option(name, value, help)->capture_default_str()->type_name(type)->group(group);
    };
    add("--gyro-noise", simulation.gyroNoise, "RAD/S", "Standard deviation of a row, rad/s");
    add("--gyro-bias", simulation.gyroBias, "RAD/S", "Bound of each axis' constant bias, rad/s");
    add("--acc-noise", simulation.accelerometerNoise, "M/S^2", "Standard deviation of a row, m/s^2");
    add("--mag-noise", simulation.magnetometerNoise, "UT", "Standard deviation of a row, uT");
    add("--burst", simulation.burst, "M/S^2", "Greatest peak of an acceleration burst, m/s^2; 0: none");
    add("--disturbance", simulation.disturbance, "UT",
        "Greatest field added by a magnetic disturbance, uT; 0: none");
    add("--jitter", simulation.jitter, "SHARE",
        "Greatest delay of a time stamp, as a share of the row's time");
    add("--missing", simulation.missing, "SHARE", "Share of the rows that are lost");
    command.add_option("--mag-every", simulation.magnetometerEvery, "Rows from one field sample to the next")
        ->check(wholeNumberFrom(1))
        ->capture_default_str()
        ->type_name("N")
        ->group(group);
}

}  // namespace

void addSimulateCommand(CLI::App& app, CommandContext& context) {
    const auto options = std::make_shared<SimulateOptions>();
    SimulationOptions& simulation = options->simulation;
    CLI::App* command = app.add_subcommand(
        "simulate", "Write a recording with truth, from a seeded motion and sensor error model");
    command->add_option("-o,--output", options->output, "File to write; - is standard output")
        ->type_name("FILE")
        ->capture_default_str();
    command->add_option("--seed", simulation.seed, "Same seed, same bytes, on any machine")
        ->type_name("N")
        ->check(wholeNumberFrom(0))
        ->capture_default_str();
    CLI::Option* seconds =
        command->add_option("--seconds", simulation.seconds, "Length")->type_name("S")->capture_default_str();
    command->add_option("--rows", options->rows, "Length in rows, 1 or more, instead of --seconds")
        ->type_name("N")
        ->check(wholeNumberFrom(1))
        ->excludes(seconds);
    command->add_option("--rate", simulation.rate, "Rows a second")->type_name("HZ")->capture_default_str();
    command->add_option("--first-rest", simulation.firstRest, "Rest at the start, s")
        ->type_name("S")
        ->capture_default_str();
    command->add_flag_callback(
        "--no-rests", [&simulation] { simulation.rests = false; },
        "Full motion from the first rest to the end, no other rests");
    command->add_option("--turning", simulation.rateRms, "Rate of full motion, each axis, RMS, rad/s")
        ->type_name("RAD/S")
        ->capture_default_str();
    command->add_option("--shaking", simulation.accelerationRms, "Acceleration of full motion, RMS, m/s^2")
        ->type_name("M/S^2")
        ->capture_default_str();
    command->add_option("--field", simulation.fieldNorm, "Earth's field, uT")
        ->type_name("UT")
        ->capture_default_str();
    command->add_option("--dip", simulation.dipDegrees, "Dip of the field below the horizon, degrees")
        ->type_name("DEGREES")
        ->capture_default_str();
    command->add_flag("--no-truth", options->withoutTruth, "Leave out the true quaternion qw, qx, qy, qz");
    addErrorOptions(*command, simulation);
    addFaultOptions(*command, simulation.faults);
    command->callback([options, &context] { simulate(*options, context); });
}

}  // namespace Kavelin::Cli
