#pragma once

namespace CLI {
class App;
}

namespace Kavelin::Core {
class FlowManager;
}

namespace Kavelin::Cli {

/// Adds --pace; `pace` is kFullPace without it.
void addPaceOption(CLI::App& command, double& pace);

/// @throws UsageError for another pace than kFullPace where a recording comes live, at a pace of its own
void requirePaceable(double pace, const Core::FlowManager& flow);

}  // namespace Kavelin::Cli
