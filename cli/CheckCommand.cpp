#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <ostream>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/LayoutOptions.h"
#include "cli/layout/LayoutBuilder.h"
#include "io/RunParticipant.h"

namespace Kavelin::Cli {

namespace {

/// Times of actions are those of the rows, which need not begin at 0.
void noteEarlyActions(const LayoutFile& layout, const LayoutBuilder& builder, CommandContext& context) {
    std::optional<double> first;
    for (const LayoutEntry& entry : layout.layouts) {
        for (const FilterEntry& filter : entry.filters) {
            const auto* source =
                dynamic_cast<const RecordingIO::RunParticipant*>(builder.find(filter.name.text));
            const std::optional<double> own = source ? source->firstTime() : std::nullopt;
            if (own && (!first || *own < *first)) first = own;
        }
    }
    for (const ActionEntry& action : layout.actions) {
        if (!first || action.at <= 0.0 || action.at >= *first) continue;
        context.err << "kavelin: the action at " << numberText(action.at) << " s on " << action.target.filter
                    << ":" << action.target.element << " comes before the first row, which is at "
                    << numberText(*first) << " s: times of actions are those of the rows" << std::endl;
    }
}

/// Builds the layout as far as it goes, runs nothing, and says all that is wrong.
void check(const LayoutOptions& options, CommandContext& context) {
    Mistakes mistakes;
    LayoutFile layout = readLayout(options, mistakes);
    LayoutBuilder builder(layout, Core::FlowManager::instance(), mistakes);
    builder.build();
    builder.check({{.filter = "kavelin", .property = "LAYOUT", .file = options.file, .place = {}}});
    builder.findIdle(mistakes);
    Mistakes doubts;
    builder.findDoubts(doubts);
    if (!doubts.empty()) context.status = kDoneWithErrors;
    if (mistakes.empty()) {
        printMistakes(context, options.file, doubts);
        noteEarlyActions(layout, builder, context);
        return;
    }
    const std::string count = countText(mistakes);
    mistakes.insert(mistakes.end(), doubts.begin(), doubts.end());
    printMistakes(context, options.file, mistakes);
    throw UsageError(count + " in " + options.file);
}

}  // namespace

void addCheckCommand(CLI::App& app, CommandContext& context) {
    auto options = std::make_shared<LayoutOptions>();
    CLI::App* command = app.add_subcommand("check", "Report every mistake of a layout file, with its place");
    addLayoutOptions(*command, *options);
    command->callback([options, &context] { check(*options, context); });
}

}  // namespace Kavelin::Cli
