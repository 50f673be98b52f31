#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <set>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/PaceOption.h"
#include "cli/Plugins.h"
#include "cli/RecordingChoice.h"
#include "cli/batch/BatchRun.h"
#include "cli/batch/Recordings.h"
#include "cli/fuse/FuseArguments.h"
#include "cli/fuse/FuseRun.h"
#include "cli/joint/JointRun.h"
#include "cli/sensors/SensorsRun.h"

namespace Kavelin::Cli {

namespace {

/// Several recordings, or a folder of them or for their results.
bool isBatch(const BatchOptions& batch, const FuseOptions& options) {
    return batch.allSensors || batch.recordings.size() != 1 || isFolderOfRecordings(batch.recordings[0]) ||
           options.output.ends_with('/') || isFolder(options.output);
}

/// The orientations of all sensors side by side, which OpenSim reads.
bool isOneTable(const BatchOptions& batch, const FuseOptions& options) {
    return batch.recordings.size() == 1 && !options.output.ends_with('/') && !isFolder(options.output) &&
           resultKind(options) == RecordingIO::TableKind::kSto &&
           (options.output == "-" || options.output.ends_with(".sto"));
}

void requireNoBatch(const BatchOptions& batch, const std::string& why) {
    for (const auto& [option, isGiven] : {std::pair("--resume", batch.resume),
                                          {"--kind", !batch.kind.empty()},
                                          {"--all-sensors", batch.allSensors}})
        if (isGiven) throw UsageError(std::string(option) + " " + why);
}

void fuse(FuseOptions options, const BatchOptions& batch, JointOptions joint, CommandContext& context) {
    loadPlugins(context, options.plugins);
    if (options.type.empty()) options.type = defaultEstimator();
    const bool isOne = !joint.isAsked() && !isBatch(batch, options);
    if (options.pace != kFullPace && !isOne) throw UsageError("--pace is for one recording and its attitude");
    if (joint.isAsked()) {
        requireNoBatch(batch, "is about one result for each recording: not with --joint");
        joint.recordings = batch.recordings;
        JointRun(options, joint, context).run();
        return;
    }
    if (batch.allSensors && isOneTable(batch, options)) {
        options.recording = batch.recordings[0];
        fuseSensors(options, context);
        return;
    }
    if (isBatch(batch, options)) {
        BatchRun(batch, options, context).run();
        return;
    }
    requireNoBatch(batch, "needs a folder of results: -o DIR");
    options.recording = batch.recordings[0];
    FuseRun(options, context).run();
}

std::vector<std::string> formNames(const std::map<std::string, AttitudeForm>& forms) {
    std::vector<std::string> names;
    for (const auto& [name, form] : forms) names.push_back(name);
    names.push_back("sto");
    return names;
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
        ->check(CLI::Range(0.0, 1e6).description(""))
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

void addBatchOptions(CLI::App& command, BatchOptions& batch) {
    const std::string group = "Several recordings";
    command
        .add_flag(
            "--all-sensors", batch.allSensors,
            "A result of each sensor of a recording; with -o FILE.sto all of them in one table for OpenSim")
        ->group(group);
    command.add_option("--kind", batch.kind, "Ending of the results' names")
        ->check(CLI::IsMember({"csv", "sto", "mat", "npz", "npy"}).description(""))
        ->type_name("csv|sto|mat|npz|npy")
        ->group(group);
    command
        .add_option("-j,--jobs", batch.jobs,
                    "Recordings at a time; without it as many as there are processors")
        ->check(CLI::Range(1, 1000).description(""))
        ->type_name("N")
        ->group(group);
    command
        .add_flag("--resume", batch.resume,
                  "Keep results that were complete, without errors, and still belong to the same recording "
                  "and options")
        ->group(group);
}

/// The options that shape a result, as the user gave them, with the program's version.
std::string optionsText(const CLI::App& command) {
    static const std::set<std::string> kOthers = {"RECORDING", "--output", "--summary", "--jobs",
                                                  "--resume",  "--quiet",  "--pace"};
    std::string text = command.get_parent()->version();
    for (const CLI::Option* option : command.get_options()) {
        const std::string name = option->get_name();
        if (option->count() == 0 || kOthers.contains(name)) continue;
        for (const std::string& value : option->results()) text += "\n" + name + "=" + value;
    }
    return text;
}

void addJointOptions(CLI::App& command, JointOptions& joint) {
    const std::string group = "Angles of a joint";
    command
        .add_option(
            "--joint", joint.joint,
            "Angles between two units, D nearer to the trunk: sensors of RECORDING, or the names of two "
            "RECORDINGs: thigh:shank of thigh.csv shank.csv")
        ->type_name("D:G")
        ->check([](const std::string& text) { return text.empty() ? "two names are expected: D:G" : ""; })
        ->group(group);
    command
        .add_option(
            "--pose", joint.pose,
            "Interval, in s of the recording's time, in which both units are held still: the angles are "
            "zero there")
        ->type_name("A..B")
        ->check([](const std::string& text) { return text.empty() ? "an interval is expected: A..B" : ""; })
        ->group(group);
    command
        .add_flag(
            "--hinge", joint.hinge,
            "The joint is a hinge, or nearly: find its axis from the motion, and measure flexion about it")
        ->group(group);
    command
        .add_flag(
            "--alike", joint.alike,
            "Both units are mounted alike: decides which way the hinge points where the motion does not")
        ->group(group);
}

}  // namespace

void addFuseCommand(CLI::App& app, CommandContext& context) {
    const auto options = std::make_shared<FuseOptions>();
    const auto batch = std::make_shared<BatchOptions>();
    const auto joint = std::make_shared<JointOptions>();
    CLI::App* command = app.add_subcommand("fuse", "Turn recordings into orientation over time");
    command
        ->add_option("RECORDING", batch->recordings,
                     "Table with a header (.csv, .csv.gz), or a folder of such tables; - is standard input")
        ->type_name("")
        ->required();
    addEstimatorOptions(*command, *options);
    addResultOptions(*command, *options);
    addRecordingOptions(*command, *options);
    addCalibrationOptions(*command, *options);
    addErrorOptions(*command, *options);
    addPluginOption(*command, options->plugins);
    addBatchOptions(*command, *batch);
    addJointOptions(*command, *joint);
    command->callback([options, batch, joint, command, &context] {
        batch->text = optionsText(*command);
        fuse(*options, *batch, *joint, context);
    });
}

}  // namespace Kavelin::Cli
