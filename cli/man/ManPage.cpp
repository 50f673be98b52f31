#include "cli/man/ManPage.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <map>
#include <ostream>
#include <sstream>
#include <vector>

#include "cli/Program.h"

namespace Kavelin::Cli {

namespace {

/// A text as running text of the page: characters that man(7) would read or print otherwise are named.
std::string escaped(const std::string& text) {
    static const std::map<char, const char*> kNames = {{'\\', "\\(rs"}, {'-', "\\-"},   {'\'', "\\(aq"},
                                                       {'`', "\\(ga"},  {'^', "\\(ha"}, {'~', "\\(ti"}};
    std::string result;
    for (const char c : text) {
        const auto name = kNames.find(c);
        if (name != kNames.end())
            result += name->second;
        else if (c == '.' && (result.empty() || result.back() == '\n'))
            result += "\\&.";
        else
            result += c;
    }
    return result;
}

std::string bold(const std::string& text) { return "\\fB" + escaped(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + escaped(text) + "\\fR"; }

/// A command's description, without a full stop.
std::string titleOf(const CLI::App& command) {
    std::string title = command.get_description();
    if (title.ends_with('.')) title.pop_back();
    return title;
}

std::string inWords(std::string name) {
    std::replace(name.begin(), name.end(), '-', ' ');
    return name;
}

std::vector<const CLI::App*> partsOf(const CLI::App& command) {
    return command.get_subcommands([](const CLI::App* part) { return !part->get_name().empty(); });
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& command) {
    return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

bool takesMany(const CLI::Option& option) {
    return option.get_expected_max() >= CLI::detail::expected_max_vector_size;
}

std::string argumentUse(const CLI::Option& argument) {
    const std::string name = italic(argument.get_name(true)) + (takesMany(argument) ? "..." : "");
    return argument.get_required() ? name : "[" + name + "]";
}

void writeUse(std::ostream& out, const CLI::App& command) {
    out << bold(inWords(manPageName(command)));
    const bool hasParts = !partsOf(command).empty();
    out << (hasParts ? " " + italic("COMMAND") + " ..." : " [" + italic("OPTIONS") + "]");
    for (const CLI::Option* argument : argumentsOf(command)) out << " " << argumentUse(*argument);
    out << "\n";
}

/// The uses of a command, or of each of its own commands.
void writeSynopsis(std::ostream& out, const CLI::App& command) {
    const std::vector<const CLI::App*> parts = partsOf(command);
    out << ".SH SYNOPSIS\n";
    if (parts.empty()) writeUse(out, command);
    for (const CLI::App* part : parts) {
        if (part != parts.front()) out << ".br\n";
        writeUse(out, *part);
    }
}

/// Lines that are set in by two blanks stay as they are, each on its own.
void writeFooter(std::ostream& out, const std::string& footer) {
    std::istringstream lines(footer);
    bool isExact = false;
    for (std::string line; std::getline(lines, line);) {
        const bool isSetIn = line.starts_with("  ");
        if (isSetIn != isExact) out << (isSetIn ? ".PP\n.nf\n" : ".fi\n");
        if (!isSetIn) out << ".PP\n";
        isExact = isSetIn;
        out << escaped(line) << "\n";
    }
    if (isExact) out << ".fi\n";
}

void writeDescription(std::ostream& out, const CLI::App& command, const ManSections& sections) {
    out << ".SH DESCRIPTION\n" << escaped(titleOf(command)) << ".\n" << sections.description;
    const CLI::App* parent = command.get_parent();
    if (parent && command.get_footer() != parent->get_footer()) writeFooter(out, command.get_footer());
}

void writeCommands(std::ostream& out, const CLI::App& command) {
    const std::vector<const CLI::App*> parts = partsOf(command);
    if (parts.empty()) return;
    out << ".SH COMMANDS\n";
    for (const CLI::App* part : parts) {
        out << ".TP\n" << bold(part->get_name()) << "\n" << escaped(part->get_description());
        out << fmt::format("; see {}(1).\n", bold(manPageName(*part)));
    }
}

/// "-o, --output FILE": the names of an option, then what it takes.
std::string optionHead(const CLI::Option& option) {
    std::string head;
    for (const std::string& name : option.get_snames()) head += (head.empty() ? "" : ", ") + bold("-" + name);
    for (const std::string& name : option.get_lnames())
        head += (head.empty() ? "" : ", ") + bold("--" + name);
    if (option.get_type_size() != 0) head += " " + italic(option.get_type_name());
    return head;
}

std::string optionText(const CLI::Option& option) {
    std::string text = option.get_description();
    const std::string preset = option.get_default_str();
    if (option.get_type_size() != 0 && !preset.empty()) text += " (default: " + preset + ")";
    for (const CLI::Option* other : option.get_excludes()) text += "; not with " + other->get_name();
    return escaped(text) + ".\n";
}

void writeArguments(std::ostream& out, const CLI::App& command) {
    const std::vector<const CLI::Option*> arguments = argumentsOf(command);
    if (arguments.empty()) return;
    out << ".SH ARGUMENTS\n";
    for (const CLI::Option* argument : arguments)
        out << ".TP\n"
            << italic(argument->get_name(true)) << (takesMany(*argument) ? " ..." : "") << "\n"
            << optionText(*argument);
}

void writeOptions(std::ostream& out, const CLI::App& command) {
    out << ".SH OPTIONS\n";
    for (const std::string& group : command.get_groups()) {
        const std::vector<const CLI::Option*> options =
            command.get_options([&group](const CLI::Option* option) {
                return option->nonpositional() && option->get_group() == group;
            });
        if (group.empty() || options.empty()) continue;
        if (group != "Options") out << ".SS " << escaped(group) << "\n";
        for (const CLI::Option* option : options)
            out << ".TP\n" << optionHead(*option) << "\n" << optionText(*option);
    }
}

void writeExitStatus(std::ostream& out) {
    out << ".SH EXIT STATUS\n";
    for (const ExitMeaning& exit : exitMeanings())
        out << ".TP\n" << bold(std::to_string(exit.status)) << "\n" << escaped(exit.meaning) << "\n";
}

/// The page above, and those side by side with this one or below it.
void writeOthers(std::ostream& out, const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    std::vector<std::string> names;
    for (const CLI::App* above = parent; above; above = above->get_parent())
        names.insert(names.begin(), manPageName(*above));
    for (const CLI::App* other : parent ? partsOf(*parent) : partsOf(command))
        if (other != &command) names.push_back(manPageName(*other));
    if (parent)
        for (const CLI::App* part : partsOf(command)) names.push_back(manPageName(*part));
    out << ".SH SEE ALSO\n";
    for (const std::string& name : names)
        out << ".BR " << escaped(name) << " (1)" << (name == names.back() ? "" : ",") << "\n";
}

}  // namespace

ManSections parseManSections(const std::string& text) {
    const std::size_t first = text.starts_with(".SH") ? 0 : text.find("\n.SH");
    if (first == std::string::npos) return {text, ""};
    const std::size_t end = first == 0 ? 0 : first + 1;
    return {text.substr(0, end), text.substr(end)};
}

std::string manPageName(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return parent ? manPageName(*parent) + "-" + command.get_name() : command.get_name();
}

void writeManPage(std::ostream& out, const CLI::App& command, const ManSections& sections) {
    const std::string name = manPageName(command);
    std::string capitals = name;
    for (char& c : capitals) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    std::string title = titleOf(command);
    title[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(title[0])));
    out << fmt::format(".TH {} 1 \"\" \"kavelin {}\" \"User Commands\"\n", escaped(capitals),
                       KAVELIN_VERSION);
    out << ".SH NAME\n" << escaped(name) << " \\- " << escaped(title) << "\n";
    writeSynopsis(out, command);
    writeDescription(out, command, sections);
    writeCommands(out, command);
    writeArguments(out, command);
    writeOptions(out, command);
    writeExitStatus(out);
    out << sections.rest;
    writeOthers(out, command);
}

}  // namespace Kavelin::Cli
