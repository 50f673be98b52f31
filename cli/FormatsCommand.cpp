#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ostream>
#include <string_view>

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "io/formats/Format.h"

namespace Kavelin::Cli {

namespace {

const char* const kTableTitle =
    "any table of text: comma, semicolon, tab or blanks, decimal comma, dates, counters; found by its header";

void listFormats(std::ostream& out) {
    std::size_t width = 0;
    for (const RecordingIO::Format& format : RecordingIO::formats())
        width = std::max(width, std::string_view(format.name).size());
    for (const RecordingIO::Format& format : RecordingIO::formats())
        out << fmt::format("{:<{}}  {}\n", format.name, width, format.title);
    out << fmt::format("{:<{}}  {}\n", "table", width, kTableTitle);
}

}  // namespace

void addFormatsCommand(CLI::App& app, CommandContext& context) {
    CLI::App* command =
        app.add_subcommand("formats", "List the formats of recordings that are known by name");
    command->callback([&context] { listFormats(context.out); });
}

}  // namespace Kavelin::Cli
