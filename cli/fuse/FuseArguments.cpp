#include "cli/fuse/FuseArguments.h"

#include <Kavelin/Core/FlowManager.h>

#include <CLI/CLI.hpp>

#include "cli/fuse/FuseOptions.h"

namespace Kavelin::Cli {

namespace {

/// The types to take where none is named, the best first: the first that is there.
const char* const kDefaultTypes[] = {"FilterSO3Attitude", "FilterSphericalFilteringAttitude",
                                     "FilterAGMAttitude_v6"};

}  // namespace

std::string defaultEstimator() {
    const Core::PluginManager& plugins = Core::FlowManager::instance().getPluginManager();
    for (const char* type : kDefaultTypes) {
        if (plugins.findPluginOf(type)) return type;
    }
    return kDefaultTypes[0];
}

void addEstimatorOptions(CLI::App& command, FuseOptions& options) {
    command
        .add_option("--filter", options.type,
                    "Filter type that estimates the attitude; without it " + std::string(kDefaultTypes[0]))
        ->check([](const std::string& name) { return name.empty() ? "a filter type is expected" : ""; })
        ->type_name("TYPE");
    command
        .add_option("--set", options.settings,
                    "Write a property, or activate a command: FILTER:PROPERTY=VALUE, FILTER:COMMAND; "
                    "without FILTER, of "
                    "the estimator or of the one filter that has it; may be repeated")
        ->type_name("[FILTER:]PROPERTY=VALUE")
        ->allow_extra_args(false);
}

void addCalibrationOptions(CLI::App& command, FuseOptions& options) {
    const std::string group = "Calibration";
    command
        .add_option(
            "--calibration", options.calibration,
            "What kavelin calibrate found of the unit, applied to the samples; of several units NAME=FILE "
            "for each, or a folder with NAME.json")
        ->type_name("FILE.json|NAME=FILE,...|DIR")
        ->check([](const std::string& text) { return text.empty() ? "a file name is expected" : ""; })
        ->group(group);
    command
        .add_option(
            "--mount", options.mount,
            "Write the attitude of the segment that carries the unit: what kavelin calibrate mount found; "
            "of several units as --calibration")
        ->type_name("FILE.json|NAME=FILE,...|DIR")
        ->check([](const std::string& text) { return text.empty() ? "a file name is expected" : ""; })
        ->group(group);
}

void addErrorOptions(CLI::App& command, FuseOptions& options) {
    const std::string group = "Comparison with a reference";
    command
        .add_option("--reference", options.reference,
                    "File with t, qw, qx, qy, qz, instead of the recording's own; or "
                    "FILE#SENSOR")
        ->type_name("FILE")
        ->group(group);
    command
        .add_option("--movement", options.movement,
                    "File with t_start, t_end: count errors only in these intervals")
        ->type_name("FILE")
        ->group(group);
    command
        .add_option(
            "--align", options.alignment,
            "What to take out before comparing: nothing, the best turn about the vertical, the rotation at "
            "the start; auto: what suits the type")
        ->check(CLI::IsMember({"auto", "none", "heading", "start"}).description(""))
        ->type_name("auto|none|heading|start")
        ->capture_default_str()
        ->group(group);
}

}  // namespace Kavelin::Cli
