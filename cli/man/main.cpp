// kavelin_man SECTIONS PAGES: writes the manual page of each command into the folder PAGES, as NAME.1. Where the folder SECTIONS has a
// file NAME.man, it is in the page.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>
#include <stdexcept>

#include "cli/CommandContext.h"
#include "cli/Program.h"
#include "cli/man/ManPage.h"

namespace {

using namespace Kavelin::Cli;
namespace fs = std::filesystem;

std::string readWhole(const fs::path& file) {
    std::ifstream in(file);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void writePages(const CLI::App& command, const fs::path& sections, const fs::path& pages,
                std::set<std::string>& names) {
    const std::string name = manPageName(command);
    names.insert(name);
    const fs::path own = sections / (name + ".man");
    std::ofstream out(pages / (name + ".1"));
    writeManPage(out, command, parseManSections(fs::exists(own) ? readWhole(own) : ""));
    if (!out.flush()) throw std::runtime_error("cannot write " + (pages / (name + ".1")).string());
    for (const CLI::App* part : command.get_subcommands([](const CLI::App*) { return true; }))
        writePages(*part, sections, pages, names);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 3) throw std::invalid_argument("two folders are expected: SECTIONS PAGES");
    CommandContext context{std::cin, std::cout, std::cerr};
    CLI::App app;
    describeProgram(app, context);
    std::set<std::string> names;
    writePages(app, argv[1], argv[2], names);
    for (const auto& file : fs::directory_iterator(argv[1]))
        if (file.path().extension() == ".man" && !names.contains(file.path().stem()))
            throw std::invalid_argument(file.path().string() + " belongs to no command");
    return 0;
} catch (const std::exception& error) {
    std::cerr << "kavelin_man: " << error.what() << std::endl;
    return 1;
}
