#include "cli/fuse/FuseArguments.h"

#include <Kavelin/Core/FlowManager.h>

#include <CLI/CLI.hpp>
#include <map>

#include "cli/PaceOption.h"
#include "cli/Plugins.h"
#include "cli/RecordingChoice.h"
#include "cli/fuse/FuseOptions.h"

namespace Kavelin::Cli {

namespace {

/// The types to take where none is named, the best first: the first that is there.
const char* const kDefaultTypes[] = {"FilterSO3Attitude", "FilterSphericalFilteringAttitude",
                                     "FilterAGMAttitude_v6"};

std::vector<std::string> formNames(const std::map<std::string, AttitudeForm>& forms) {
    std::vector<std::string> names;
    for (const auto& [name, form] : forms) names.push_back(name);
    names.push_back("sto");
    return names;
}

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

void addResultOptions(CLI::App& command, FuseOptions& options) {
    static const std::map<std::string, AttitudeForm> kForms = {{"quaternion", AttitudeForm::kQuaternion},
                                                               {"matrix", AttitudeForm::kMatrix},
                                                               {"euler", AttitudeForm::kEuler}};
    command
        .add_option("-o,--output", options.output,
                    "File to write: .csv, .sto (OpenSim), .mat (MATLAB), .npz or .npy (NumPy); - is standard "
                    "output, as CSV; of several recordings a folder, made if it is not there")
        ->type_name("FILE|DIR")
        ->capture_default_str();
    command
        .add_option_function<std::string>(
            "--as",
            [&options](const std::string& name) {
                options.isSto = name == "sto";
                if (!options.isSto) options.form = kForms.at(name);
            },
            "What an attitude is written as: quaternion (qw, qx, qy, qz), matrix, or euler (degrees; yaw, "
            "pitch, roll: intrinsic turns about z, y, x); sto: quaternions, in a table for OpenSim")
        ->check(CLI::IsMember(formNames(kForms)).description(""))
        ->type_name("quaternion|matrix|euler|sto");
    command
        .add_option(
            "--frame", options.frame,
            "The earth of the attitude that is written, and of the reference: enu (East, North, Up; that "
            "of the default filter) or ned (North, East, Down); without it, that of the filter")
        ->check(CLI::IsMember({"enu", "ned"}).description(""))
        ->type_name("enu|ned");
    command
        .add_option("--output-rate", options.outputRate,
                    "Resample the result: rows at k / HZ s, the attitude on the arc between its neighbours")
        ->check(rateMistake)
        ->type_name("HZ");
    command
        .add_option("--plot", options.plot,
                    "Draw orientation, flags and errors over time; of several recordings svg or png, next to "
                    "each result")
        ->type_name("FILE.svg|FILE.png");
    command
        .add_option("--summary", options.summary,
                    "Write the summary, the verdict and its evidence as JSON, for programs")
        ->type_name("FILE.json");
    command.add_flag("--scores", options.scores, "Write the columns of the static score too");
    command
        .add_option("--save-layout", options.saveLayout,
                    "Write the layout of this run, to change and use with kavelin run")
        ->type_name("FILE.json");
    addPaceOption(command, options.pace);
    command.add_flag("--stop-on-error", options.stopOnError, "End at the first row that cannot be used");
    command.add_flag("--quiet", options.quiet, "No summary, no progress bar; errors only");
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

void addFuseOptions(CLI::App& command, FuseOptions& options) {
    addEstimatorOptions(command, options);
    addResultOptions(command, options);
    addRecordingOptions(command, options);
    addCalibrationOptions(command, options);
    addErrorOptions(command, options);
    addPluginOption(command, options.plugins);
}

}  // namespace Kavelin::Cli
