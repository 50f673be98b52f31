#include "cli/LayoutOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ostream>

#include "cli/CommandContext.h"
#include "cli/layout/Overrides.h"

namespace Kavelin::Cli {

void addLayoutOptions(CLI::App& command, LayoutOptions& options) {
    addLayoutFile(command, options);
    command
        .add_option("-o,--out", options.out,
                    "Folder that ${OUT} stands for (else the file's variable, else .)")
        ->type_name("DIR");
}

void addLayoutFile(CLI::App& command, LayoutOptions& options) {
    command.add_option("LAYOUT", options.file, "Layout file (JSON)")->required()->type_name("");
    command.add_option("--var", options.variables, "Set a variable; may be repeated")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    command
        .add_option(
            "--set", options.properties,
            "Write a property, or activate a command; FILTER may be left out where one has it; may be "
            "repeated")
        ->type_name("[FILTER:]PROPERTY=VALUE")
        ->allow_extra_args(false);
}

LayoutFile readLayout(const LayoutOptions& options, Mistakes& mistakes) {
    LayoutFile layout = loadLayout(options.file, mistakes);
    for (const std::string& variable : options.variables) overrideVariable(layout, variable, mistakes);
    for (const std::string& property : options.properties) overrideProperty(layout, property, mistakes);
    const bool knowsOut =
        std::any_of(layout.variables.begin(), layout.variables.end(),
                    [](const VariableEntry& variable) { return variable.name.text == "OUT"; });
    if (!options.out.empty() || !knowsOut) {
        const std::string folder = options.out.empty() ? "." : options.out;
        setVariable(layout, "OUT", std::filesystem::absolute(folder).lexically_normal().string(),
                    "-o " + folder);
    }
    return layout;
}

void printMistakes(CommandContext& context, const std::string& file, Mistakes mistakes) {
    sortByPlace(mistakes);
    for (const Mistake& mistake : mistakes) context.err << toText(mistake, file) << '\n';
    context.err.flush();
}

}  // namespace Kavelin::Cli
