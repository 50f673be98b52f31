#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/validate/Checks.h"
#include "cli/validate/ValidateRun.h"

namespace Kavelin::Cli {
namespace {

std::string checksText() {
    std::string text = "Checks, each in a process of its own:\n";
    for (const Check& check : allChecks()) text += fmt::format("  {:<12} {}\n", check.name, check.title);
    text.pop_back();
    return text;
}

}  // namespace

void addValidateCommand(CLI::App& app, CommandContext& context) {
    const auto options = std::make_shared<ValidateOptions>();
    CLI::App* command =
        app.add_subcommand("validate", "Check plugins: every filter type, with all that a host may do to it");
    command
        ->add_option("PLUGIN", options->plugin,
                     "A plugin's name, or its path; without it, all that are found")
        ->type_name("");
    command->add_option("--only", options->only, "Run these checks only; may be repeated")
        ->type_name("TYPE|CHECK|TYPE/CHECK")
        ->allow_extra_args(false);
    command
        ->add_option("--seed", options->seed,
                     "Other numbers for what is random; the same seed gives the same checks")
        ->type_name("N")
        ->capture_default_str();
    CLI::Option* reproduce =
        command
            ->add_option("--reproduce", options->reproduce,
                         "Run this one check in the program's own process, for a debugger")
            ->type_name("TYPE/CHECK");
    command->add_option("--jobs", options->jobs, "Checks at a time, instead of one for each processor")
        ->type_name("N")
        ->check(CLI::Range(1, 1000).description(""));
    command->add_option("--time-limit", options->timeLimit, "Seconds after which a check is ended")
        ->type_name("S")
        ->check(CLI::Range(0.001, 1e6))
        ->capture_default_str();
    command->add_flag("--json", options->json, "For programs: one JSON object");
    reproduce->excludes(command->get_option("--only"));
    command->footer(checksText());
    command->callback([options, &context] { validate(*options, context); });
}

}  // namespace Kavelin::Cli
