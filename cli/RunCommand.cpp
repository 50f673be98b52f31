#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <ostream>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/LayoutOptions.h"
#include "cli/PaceOption.h"
#include "cli/layout/LayoutRun.h"
#include "cli/plot/LayoutPlot.h"
#include "io/recording/ResultFile.h"

namespace Kavelin::Cli {

namespace {

struct RunCommandOptions {
    LayoutOptions layout;
    LayoutRunOptions run;
    std::string save;
    double pace = kFullPace;
    std::string plot;
    std::vector<std::string> plotPins;
};

void requireNone(const Mistakes& mistakes, const std::string& file, CommandContext& context) {
    if (mistakes.empty()) return;
    printMistakes(context, file, mistakes);
    throw UsageError(file + " cannot be run: " + countText(mistakes));
}

/// The folder that ${OUT} stands for; a relative one is resolved as file names in the layout are.
void makeFolder(const LayoutFile& layout) {
    const std::string out = Core::FlowManager::instance().expandVariables("${OUT}");
    if (out.empty()) return;
    const std::filesystem::path folder = layout.folder / out;
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) throw UsageError("the folder " + folder.string() + " cannot be made: " + error.message());
}

/// The pins of the command line go before the panels of the file.
void choosePlot(const RunCommandOptions& options, LayoutFile& layout, LayoutBuilder& builder,
                Mistakes& mistakes) {
    if (options.plot.empty() && !options.plotPins.empty())
        throw UsageError("--plot-pin says what --plot draws: add --plot FILE.svg");
    if (!options.plotPins.empty()) layout.plot = panelsFor(options.plotPins, layout, builder, mistakes);
    if (!options.plot.empty() && layout.plot.empty() && mistakes.empty())
        throw UsageError("--plot has nothing to draw: " + options.layout.file +
                         " has no \"plot\"; name pins with --plot-pin FILTER:PIN");
}

void run(const RunCommandOptions& options, CommandContext& context) {
    Mistakes mistakes, remarks;
    LayoutFile layout = readLayout(options.layout, mistakes);
    LayoutBuilder builder(layout, Core::FlowManager::instance(), mistakes);
    builder.build();
    choosePlot(options, layout, builder, mistakes);
    std::vector<FileUse> alsoUsed{
        {.filter = "kavelin", .property = "LAYOUT", .file = options.layout.file, .place = {}}};
    for (const auto& [option, file] : {std::pair("--save", options.save), std::pair("--plot", options.plot)})
        if (!file.empty())
            alsoUsed.push_back({"kavelin", option, file, true, {.option = std::string(option) + " " + file}});
    builder.check(alsoUsed);
    requireNone(mistakes, options.layout.file, context);
    builder.rebuild();
    requirePaceable(options.pace, Core::FlowManager::instance());
    builder.findIdle(remarks);
    if (const std::size_t idle = remarks.size(); builder.findDoubts(remarks), remarks.size() > idle)
        context.status = kDoneWithErrors;  // the results may look right
    printMistakes(context, options.layout.file, remarks);
    makeFolder(layout);
    builder.activateCommands();
    builder.prepareRun();
    requireNone(mistakes, options.layout.file, context);
    if (!options.save.empty()) RecordingIO::ResultFile::requireWritable(options.save);
    RoundGate gate(options.pace);
    LayoutRunOptions runOptions = options.run;
    if (options.pace != kFullPace) runOptions.gate = &gate;
    std::optional<LayoutPlot> plot;
    if (!options.plot.empty()) plot.emplace(options.plot).watch(layout.plot, builder);
    LayoutRun layoutRun(layout, builder, Core::FlowManager::instance(), context.err, runOptions);
    if (!layoutRun.run()) context.status = kDoneWithErrors;
    if (!options.save.empty()) builder.save(options.save);
    if (plot) plot->draw();
}

}  // namespace

void addRunCommand(CLI::App& app, CommandContext& context) {
    auto options = std::make_shared<RunCommandOptions>();
    CLI::App* command = app.add_subcommand("run", "Run the layouts of a file to the end of their sources");
    addLayoutOptions(*command, options->layout);
    command->add_flag("--threads", options->run.threads,
                      "A thread for each layout, instead of all in one, in turn");
    addPaceOption(*command, options->pace);
    command->add_flag("--stop-on-error", options->run.stopOnError, "End at the first error of a filter");
    command->add_flag("-q,--quiet", options->run.quiet, "Print errors only");
    command
        ->add_option("--save", options->save, "Afterwards write the layout with its present property values")
        ->type_name("FILE");
    command
        ->add_option("--plot", options->plot,
                     "Draw pins over time (.svg or .png): those of the layout's \"plot\"; needs gnuplot")
        ->type_name("FILE");
    command->add_option("--plot-pin", options->plotPins, "Draw this pin instead; may be repeated")
        ->type_name("FILTER:PIN")
        ->allow_extra_args(false);
    command->callback([options, &context] { run(*options, context); });
}

}  // namespace Kavelin::Cli
