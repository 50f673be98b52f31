#include <CLI/CLI.hpp>
#include <memory>
#include <set>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/Plugins.h"
#include "cli/batch/BatchRun.h"
#include "cli/batch/Recordings.h"
#include "cli/fuse/FuseArguments.h"
#include "cli/fuse/FuseRun.h"
#include "cli/joint/JointRun.h"
#include "cli/layout/RoundGate.h"
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
        ->add_option(
            "RECORDING", batch->recordings,
            "Table with a header (.csv, .csv.gz), or a folder of such tables; - is standard input; live: "
            "udp://ADDRESS:PORT, tcp://HOST:PORT, tcp-listen://ADDRESS:PORT, /dev/ttyACM0?baud=115200")
        ->type_name("")
        ->required();
    addFuseOptions(*command, *options);
    addBatchOptions(*command, *batch);
    addJointOptions(*command, *joint);
    command->callback([options, batch, joint, command, &context] {
        batch->text = optionsText(*command);
        fuse(*options, *batch, *joint, context);
    });
}

}  // namespace Kavelin::Cli
