#include <CLI/CLI.hpp>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/DurationOption.h"
#include "cli/LayoutOptions.h"
#include "cli/PaceOption.h"
#include "cli/layout/LayoutFileRun.h"

namespace Kavelin::Cli {

void addRunCommand(CLI::App& app, CommandContext& context) {
    auto options = std::make_shared<LayoutFileRunOptions>();
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
    CLI::Option* checkpoint =
        command
            ->add_option("--checkpoint", options->checkpoint,
                         "Write there, every few seconds, what --resume goes on from if the run is cut short")
            ->type_name("FILE");
    addDuration(*command, "--every", "Time between two checkpoints", 0.001, 86400.0,
                [options](double seconds) { options->every = seconds; })
        ->default_str("10s");
    CLI::Option* resume =
        command
            ->add_option(
                "--resume", options->resume,
                "Go on where the run that wrote this checkpoint was; without FILE, that of --checkpoint, "
                "which need not be there")
            ->type_name("[FILE]")
            ->expected(0, 1);
    command->callback([options, checkpoint, resume, &context] {
        if (checkpoint->count() > 0 && options->checkpoint.empty())
            throw UsageError("--checkpoint: in which file? --checkpoint FILE");
        if (resume->count() > 0 && options->resume.empty()) {
            if (options->checkpoint.empty())
                throw UsageError(
                    "--resume: from which checkpoint? --resume FILE, or --checkpoint FILE --resume");
            options->resume = options->checkpoint;
        }
        LayoutFileRun(*options, context).run();
    });
}

}  // namespace Kavelin::Cli
