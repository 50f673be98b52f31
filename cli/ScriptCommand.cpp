#include <Kavelin/Core/FlowManager.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/Plugins.h"
#include "cli/ScriptRunner.h"

namespace Kavelin::Cli {
namespace {

constexpr const char* kLines =
    R"(Lines of a script, JSON objects; blank lines and lines that begin with # are skipped:
  {"pin": "3a", "t": 0.5, "value": [[1, 2, 3]]}    send a sample; a matrix is an array of rows
  {"property": "order", "value": "1"}              write a property from its text form
  {"command": "Reference"}                         activate a command
  {"process": 3}                                   call process three times
  {"query": "order"}                               print a property's text form
  {"buffer": "3a", "size": 1, "order": "fifo"}     buffer size and order (fifo, lifo) of a pin
Samples that the filter sends, answers and errors are printed in the order in which they happen.)";

struct ScriptOptions {
    std::string type, file = "-";
    std::vector<std::string> plugins;
};

void runScript(const ScriptOptions& options, CommandContext& context) {
    loadPlugins(context, options.plugins);
    const Core::FilterPtr filter =
        Core::FlowManager::instance().getPluginManager().createFilter(options.type, options.type);
    ScriptRunner runner(*filter, context.out);
    if (options.file == "-") return runner.run(context.in, "standard input");
    std::ifstream file(options.file);
    if (!file || std::filesystem::is_directory(options.file))
        throw UsageError("the script " + options.file + " cannot be opened");
    runner.run(file, options.file);
}

}  // namespace

void addScriptCommand(CLI::App& app, CommandContext& context) {
    const auto options = std::make_shared<ScriptOptions>();
    CLI::App* command = app.add_subcommand("script", "Drive one filter step by step, by lines of JSON");
    command->add_option("TYPE", options->type, "Filter type, e.g. FilterCompass")->required()->type_name("");
    command->add_option("FILE", options->file, "Script; - or nothing is standard input")->type_name("");
    addPluginOption(*command, options->plugins);
    command->footer(kLines);
    command->callback([options, &context] { runScript(*options, context); });
}

}  // namespace Kavelin::Cli
