#pragma once

#include <Kavelin/Typed/Matrix.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace Kavelin::Cli {

// The script that drives one filter is JSON Lines, one object a line:
//   {"pin": "3a", "t": 0.5, "value": [[1, 2, 3]]}      send one sample on an input pin
//   {"property": "order", "value": "1"}                write a property from its text form
//   {"command": "Reference"}                           activate a command
//   {"process": 3}                                     call process three times
//   {"query": "order"}                                 print a property's text form
//   {"buffer": "3a", "size": 1, "order": "fifo"}       buffer size and order ("fifo", "lifo") of an input pin
// Blank lines and lines that begin with '#' carry nothing.

struct SampleLine {
    std::string pin;
    double t = 0.0;
    Core::Matrix value;
};
struct PropertyLine {
    std::string property, value;
};
struct CommandLine {
    std::string command;
};
struct ProcessLine {
    std::uint64_t times = 0;
};
struct QueryLine {
    std::string property;
};
struct BufferLine {
    std::string pin;
    unsigned size = 0;
    bool lastInFirstOut = false;
};
using ScriptLine = std::variant<SampleLine, PropertyLine, CommandLine, ProcessLine, QueryLine, BufferLine>;

/// Reads one line, without its line feed.  @return nothing for a blank line or a comment.
/// Throws UsageError that says what is wrong with the line (the caller knows its number). Source-independent:
/// no host.
std::optional<ScriptLine> parseScriptLine(std::string_view line);

// The lines of a script's answer, each with its line feed.
std::string sampleText(std::string_view pin, double t, const Core::Matrix& value);
std::string propertyText(std::string_view property, std::string_view value);
std::string errorText(std::string_view errorClass, std::string_view message);

}  // namespace Kavelin::Cli
