#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/LayoutOptions.h"
#include "cli/layout/LayoutBuilder.h"

namespace Kavelin::Cli {

namespace {

/// Builds the layout as far as it goes, runs nothing, and says all that is wrong.
void check(const LayoutOptions& options, CommandContext& context) {
    Mistakes mistakes;
    const LayoutFile layout = readLayout(options, mistakes);
    LayoutBuilder builder(layout, Core::FlowManager::instance(), mistakes);
    builder.build();
    builder.check({{.filter = "kavelin", .property = "LAYOUT", .file = options.file, .place = {}}});
    builder.findIdle(mistakes);
    if (mistakes.empty()) return;
    printMistakes(context, options.file, mistakes);
    throw UsageError(countText(mistakes) + " in " + options.file);
}

}  // namespace

void addCheckCommand(CLI::App& app, CommandContext& context) {
    auto options = std::make_shared<LayoutOptions>();
    CLI::App* command = app.add_subcommand("check", "Say every mistake of a layout file, with its place");
    addLayoutOptions(*command, *options);
    command->callback([options, &context] { check(*options, context); });
}

}  // namespace Kavelin::Cli
