#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/Description.h"
#include "cli/Plugins.h"

namespace Kavelin::Cli {
namespace {

struct InspectOptions {
    std::string type;
    bool hasType = false;  // an empty name is an unknown type
    bool json = false;
    std::vector<std::string> plugins;
};

void inspect(const InspectOptions& options, CommandContext& context) {
    loadPlugins(context, options.plugins);
    const nlohmann::ordered_json description =
        options.hasType ? describeType(options.type) : describePlugins();
    if (options.json) {
        context.out << description.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
                    << '\n';
    } else if (options.hasType) {
        printType(context.out, description);
    } else {
        printPlugins(context.out, description);
    }
}

}  // namespace

void addInspectCommand(CLI::App& app, CommandContext& context) {
    const auto options = std::make_shared<InspectOptions>();
    CLI::App* command =
        app.add_subcommand("inspect", "Show plugins and filter types, or the pins and properties of one");
    const CLI::Option* type =
        command->add_option("TYPE", options->type, "Filter type, e.g. FilterCompass")->type_name("");
    command->add_flag("--json", options->json, "For programs: one JSON object");
    addPluginOption(*command, options->plugins);
    command->callback([options, type, &context] {
        options->hasType = type->count() > 0;
        inspect(*options, context);
    });
}

}  // namespace Kavelin::Cli
