#include "cli/SimulateOptions.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <limits>

#include "cli/SimulateFaults.h"

namespace Kavelin::Cli {

using RecordingIO::SimulationOptions;

namespace {

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

void SimulateOptions::settleLength() {
    // Half a row less than the last, so that rounding can neither add nor lose one.
    if (rows > 0) simulation.seconds = (static_cast<double>(rows) - 0.5) / simulation.rate;
}

void addSimulationOptions(CLI::App& command, SimulateOptions& options) {
    SimulationOptions& simulation = options.simulation;
    command.add_option("--seed", simulation.seed, "Same seed, same bytes, on any machine")
        ->type_name("N")
        ->check(wholeNumberFrom(0))
        ->capture_default_str();
    CLI::Option* seconds =
        command.add_option("--seconds", simulation.seconds, "Length")->type_name("S")->capture_default_str();
    command.add_option("--rows", options.rows, "Length in rows, 1 or more, instead of --seconds")
        ->type_name("N")
        ->check(wholeNumberFrom(1))
        ->excludes(seconds);
    command.add_option("--rate", simulation.rate, "Rows a second")->type_name("HZ")->capture_default_str();
    command.add_option("--first-rest", simulation.firstRest, "Rest at the start, s")
        ->type_name("S")
        ->capture_default_str();
    command.add_flag_callback(
        "--no-rests", [&simulation] { simulation.rests = false; },
        "Full motion from the first rest to the end, no other rests");
    command.add_option("--turning", simulation.rateRms, "Rate of full motion, each axis, RMS, rad/s")
        ->type_name("RAD/S")
        ->capture_default_str();
    command.add_option("--shaking", simulation.accelerationRms, "Acceleration of full motion, RMS, m/s^2")
        ->type_name("M/S^2")
        ->capture_default_str();
    command.add_option("--field", simulation.fieldNorm, "Earth's field, uT")
        ->type_name("UT")
        ->capture_default_str();
    command.add_option("--dip", simulation.dipDegrees, "Dip of the field below the horizon, degrees")
        ->type_name("DEGREES")
        ->capture_default_str();
    command.add_flag("--no-truth", options.withoutTruth, "Leave out the true quaternion qw, qx, qy, qz");
    addErrorOptions(command, simulation);
    addFaultOptions(command, simulation.faults);
}

}  // namespace Kavelin::Cli
