#include "cli/RecordingChoice.h"

#include <CLI/CLI.hpp>

namespace Kavelin::Cli {

std::string rateMistake(const std::string& text) {
    double rate = 0.0;
    const bool isNumber = CLI::detail::lexical_cast(text, rate);
    return isNumber && rate > 0.0 && rate <= 1e6
               ? ""
               : "'" + text + "' is no rate: a number of Hz above 0 is expected";
}

void addRecordingOptions(CLI::App& command, RecordingChoice& choice) {
    const std::string group = "What the recording's columns are";
    command
        .add_option("--format", choice.format,
                    "Name of the recording's format (see kavelin formats); without it, it is found out")
        ->type_name("NAME")
        ->group(group);
    command.add_option("--sensor", choice.sensor, "Which of the recording's sensors")
        ->type_name("NAME")
        ->group(group);
    command
        .add_option("--axes", choice.axes,
                    "How the unit's axes lie along the recording's: \"y,-x,z\"; for one sensor \"3m = "
                    "y,-x,z\"; \"3a = "
                    "inverted\" for gravity in place of specific force")
        ->group(group);
    command
        .add_option(
            "--dialect", choice.dialect,
            "What the table is like, where it is not found out: \"separator=semicolon, decimal=comma, "
            "header=3, counter=COLUMN\"")
        ->group(group);
    command
        .add_option("--map", choice.mapping,
                    "Columns to pins: \"3a = ax1, ay1, az1 (g); 3g = ...; t = stamp (ms)\"")
        ->group(group);
    command
        .add_option("--units", choice.units, "Units that the header does not give: \"3a=g, 3g=deg/s, t=ms\"")
        ->group(group);
    command
        .add_option(
            "--time", choice.time,
            "Where the time of a row comes from: its columns (recording), or the moment at which it comes "
            "(arrival), of a live stream")
        ->check(CLI::IsMember({"recording", "arrival"}).description(""))
        ->type_name("recording|arrival")
        ->group(group);
    command
        .add_option("--rate", choice.rate,
                    "Rows a second: of a recording without time stamps; a result of one with time stamps is "
                    "resampled, as by --output-rate")
        ->check(rateMistake)
        ->type_name("HZ")
        ->group(group);
}

RecordingIO::OpenOptions openOptions(const RecordingChoice& choice) {
    RecordingIO::OpenOptions open;
    open.format = choice.format;
    open.mapping = choice.mapping;
    open.rate = choice.rate;
    open.isByArrival = choice.time == "arrival";
    open.dialect = RecordingIO::parseDialect(choice.dialect);
    return open;
}

}  // namespace Kavelin::Cli
