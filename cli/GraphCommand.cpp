#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <ostream>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/LayoutOptions.h"
#include "cli/WholeFile.h"
#include "cli/graph/GraphDrawing.h"
#include "cli/graph/LayoutGraph.h"
#include "cli/layout/LayoutBuilder.h"

namespace Kavelin::Cli {

namespace {

struct GraphOptions {
    LayoutOptions layout;
    std::string output = "-";
};

/// @return "svg", "png", or "dot" for graphviz's own text.
std::string formatOf(const std::string& output) {
    const std::string ending = std::filesystem::path(output).extension().string();
    if (output == "-" || ending == ".dot") return "dot";
    if (ending == ".svg" || ending == ".png") return ending.substr(1);
    throw UsageError("-o '" + output +
                     "': the name of a drawing ends in .svg, .png or .dot; - is the text of the graph");
}

void graph(const GraphOptions& options, CommandContext& context) {
    const std::string format = formatOf(options.output);
    Mistakes mistakes;
    LayoutFile layout = readLayout(options.layout, mistakes);
    LayoutBuilder builder(layout, Core::FlowManager::instance(), mistakes);
    builder.build();
    if (!mistakes.empty()) {
        printMistakes(context, options.layout.file, mistakes);
        throw UsageError(options.layout.file + " cannot be drawn: " + countText(mistakes));
    }
    const std::string text =
        graphText(builder.filters(), std::filesystem::path(options.layout.file).filename().string());
    const std::string drawing = format == "dot" ? text : drawGraph(text, format);
    if (options.output == "-")
        context.out << drawing;
    else
        writeWholeFile(options.output, drawing);
}

}  // namespace

void addGraphCommand(CLI::App& app, CommandContext& context) {
    auto options = std::make_shared<GraphOptions>();
    CLI::App* command =
        app.add_subcommand("graph", "Draw the layouts of a file: filters, pins, connections (with graphviz)");
    addLayoutFile(*command, options->layout);
    command
        ->add_option("-o,--output", options->output,
                     "Drawing to write, .svg or .png, or its text for graphviz, .dot; - is that text on "
                     "standard output")
        ->type_name("FILE.svg|FILE.png|FILE.dot")
        ->capture_default_str();
    command->callback([options, &context] { graph(*options, context); });
}

}  // namespace Kavelin::Cli
