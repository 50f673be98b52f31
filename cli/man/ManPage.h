#pragma once

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

namespace Kavelin::Cli {

/// What a command's manual page says beyond its --help, in the language of man(7).
struct ManSections {
    std::string description;  ///< goes on where the command's own description ends
    std::string rest;         ///< whole sections, each with its .SH: environment, files, examples
};

/// @param text Sections as in a file NAME.man: what comes before the first .SH belongs to the description.
ManSections parseManSections(const std::string& text);

/// Name of the command's page: "kavelin", "kavelin-fuse", "kavelin-calibrate-mag".
std::string manPageName(const CLI::App& command);

/// Writes the manual page of a command from what it told its parser, in the language of man(7).
void writeManPage(std::ostream& out, const CLI::App& command, const ManSections& sections);

}  // namespace Kavelin::Cli
