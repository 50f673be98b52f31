#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/Interruption.h"
#include "cli/PaceOption.h"
#include "cli/Plugins.h"
#include "cli/fuse/FuseArguments.h"
#include "cli/layout/LayoutFileRun.h"
#include "cli/view/ViewServer.h"
#include "cli/view/ViewSession.h"
#include "cli/view/ViewedRuns.h"

namespace Kavelin::Cli {

namespace {

struct ViewOptions {
    FuseOptions fuse;
    std::string output;
    std::vector<std::string> variables;
    std::optional<std::string> pace;
    ViewServerOptions server;
};

LayoutFileRunOptions layoutOptions(const ViewOptions& options) {
    LayoutFileRunOptions layout;
    layout.layout = {options.fuse.recording, options.output, options.variables, options.fuse.settings};
    return layout;
}

/// What is given, and how it is run.
ViewSession::Maker makerFor(const ViewOptions& options, CommandContext& context) {
    if (std::filesystem::path(options.fuse.recording).extension() == ".json")
        return makeLayoutRuns(layoutOptions(options), context);
    FuseOptions fuse = options.fuse;
    loadPlugins(context, fuse.plugins);
    if (!options.variables.empty()) throw UsageError("--var is for a layout file");
    if (fuse.type.empty()) fuse.type = defaultEstimator();
    return makeFuseRuns(std::move(fuse), options.output, context);
}

void view(const ViewOptions& options, CommandContext& context) {
    const double pace = options.pace ? *parsePace(*options.pace) : 1.0;
    const std::string& source = options.fuse.recording;
    const std::string title =
        source == "-" ? "standard input" : std::filesystem::path(source).filename().string();
    ViewSession session(makerFor(options, context), title.empty() ? source : title, pace, context);
    if (options.pace) requirePaceable(pace, Core::FlowManager::instance());
    const Interruption interruption([&session] { session.quit(); });
    const ViewServer server(options.server, session.hub(), PageFiles::installed());
    context.err << "kavelin: " << server.url() << std::endl;
    session.start();
    session.wait();
}

void addServerOptions(CLI::App& command, ViewServerOptions& server) {
    const std::string group = "The page";
    command.add_option("--port", server.port, "Port on which the page is served; 0 takes any that is free")
        ->check(CLI::Range(0, 65535).description(""))
        ->type_name("N")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--address", server.address,
                    "Address on which the page is served; one that other machines can reach needs --token")
        ->type_name("IP")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--token", server.token,
                    "Serve only who gives this text, of 16 characters or more: it is part of the address "
                    "that is printed")
        ->check([](const std::string& text) { return text.empty() ? "a text is expected" : ""; })
        ->type_name("TEXT")
        ->group(group);
}

}  // namespace

void addViewCommand(CLI::App& app, CommandContext& context) {
    const auto options = std::make_shared<ViewOptions>();
    CLI::App* command =
        app.add_subcommand("view", "Show a layout or a recording in a browser while it runs, and steer it");
    command
        ->add_option(
            "SOURCE", options->fuse.recording,
            "Layout file (.json), or a recording, which is fused: a table, a folder, - for standard input, "
            "or where live rows come from")
        ->type_name("")
        ->required();
    command
        ->add_option(
            "-o,--output", options->output,
            "Of a recording, the file for its result; of a layout, the folder that ${OUT} stands for")
        ->type_name("FILE|DIR");
    command
        ->add_option(
            "--pace", options->pace,
            "How fast a recording is played: 1 is real time (without it), 10 ten times as fast, max as fast "
            "as it goes")
        ->check([](const std::string& text) {
            return parsePace(text) ? std::string() : "'" + text + "' is no pace: a positive number or max";
        })
        ->type_name("N|max");
    command->add_option("--var", options->variables, "Set a variable of a layout; may be repeated")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    addEstimatorOptions(*command, options->fuse);
    addServerOptions(*command, options->server);
    addRecordingOptions(*command, options->fuse);
    addCalibrationOptions(*command, options->fuse);
    addErrorOptions(*command, options->fuse);
    addPluginOption(*command, options->fuse.plugins);
    command->callback([options, &context] { view(*options, context); });
}

}  // namespace Kavelin::Cli
