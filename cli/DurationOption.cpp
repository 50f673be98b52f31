#include "cli/DurationOption.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

#include "cli/CommandContext.h"

namespace Kavelin::Cli {

namespace {

std::optional<double> secondsOf(std::string_view text) {
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc()) return std::nullopt;
    const std::string_view unit = text.substr(static_cast<std::size_t>(end - text.data()));
    for (const auto& [name, seconds] : {std::pair("", 1.0), std::pair("s", 1.0), std::pair("ms", 1e-3),
                                        std::pair("min", 60.0), std::pair("h", 3600.0)})
        if (unit == name) return value * seconds;
    return std::nullopt;
}

}  // namespace

CLI::Option* addDuration(CLI::App& command, const std::string& name, const std::string& help, double least,
                         double most, std::function<void(double seconds)> take) {
    const auto read = [=](const std::string& text) {
        const std::optional<double> seconds = secondsOf(text);
        if (!seconds || !(*seconds >= least && *seconds <= most))
            throw UsageError(
                fmt::format("{} {}: a time from {} to {} s is expected, as 500ms, 10s, 5min or 1h", name,
                            text, least, most));
        take(*seconds);
    };
    return command.add_option_function<std::string>(name, read, help)->type_name("TIME");
}

}  // namespace Kavelin::Cli
