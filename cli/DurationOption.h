#pragma once

#include <functional>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace Kavelin::Cli {

/// Adds an option that takes a time: "500ms", "10s", "5min", "1h", or a number of seconds.
/// @param take is given the seconds, which are between the two limits
CLI::Option* addDuration(CLI::App& command, const std::string& name, const std::string& help, double least,
                         double most, std::function<void(double seconds)> take);

}  // namespace Kavelin::Cli
