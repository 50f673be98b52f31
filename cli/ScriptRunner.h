#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "cli/ScriptFormat.h"

namespace Kavelin::Core {
class AbstractInputPin;
class AbstractProperty;
class Filter;
}  // namespace Kavelin::Core

namespace Kavelin::Cli {

/// Drives one filter, outside any layout, by the lines of a script. What the filter sends is written at once.
/// The filter and the output stream are lent. Everything runs in the caller's thread.
class ScriptRunner {
public:
    ScriptRunner(Core::Filter& filter, std::ostream& out);
    ~ScriptRunner();
    ScriptRunner(const ScriptRunner&) = delete;
    ScriptRunner& operator=(const ScriptRunner&) = delete;

    /// Runs a whole script; `source` names it in messages.  @throws UsageError "source:line: ..." at the
    /// first line that is malformed or names what the filter does not have.
    void run(std::istream& script, const std::string& source);

    /// Does what one line says. What a property write, a command or `process` raises is written
    /// as a line of output.
    /// @throws UsageError for a name that the filter does not have.
    void execute(const ScriptLine& line);

private:
    class Feeder;
    class Collector;

    void execute(const SampleLine& line);
    void execute(const PropertyLine& line);
    void execute(const CommandLine& line);
    void execute(const ProcessLine& line);
    void execute(const QueryLine& line);
    void execute(const BufferLine& line);

    Feeder& feederOf(const std::string& pin);
    Core::AbstractProperty& valueProperty(const std::string& name) const;
    template <class Action>
    void reportWhatItRaises(Action action);

    Core::Filter& filter_;
    std::ostream& out_;
    std::vector<std::unique_ptr<Feeder>> feeders_;        // one for each input pin
    std::vector<std::unique_ptr<Collector>> collectors_;  // one for each output pin
};

}  // namespace Kavelin::Cli
