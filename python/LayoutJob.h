#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/layout/LayoutFile.h"
#include "python/SampleLog.h"

namespace Kavelin::Cli {
class LayoutBuilder;
}

namespace Kavelin::Python {

/// What a run of layouts gave.
struct LayoutRunReport {
    std::map<std::string, SampleTable> probes;  ///< by "filter:pin"
    std::vector<std::string> errors;            ///< what makes the results wrong or incomplete
    std::vector<std::string> notes;
    int status = 0;  ///< of the program
};

/// A layout file that is read, changed, and run as often as one likes: each run builds it anew in the flow manager, and
/// nothing of it stays there. Knows nothing of Python.
class LayoutJob {
public:
    /// @throws Refusal, Cli::UsageError with every mistake that can be found without plugins.
    static LayoutJob fromFile(const std::string& path);
    /// @param name what stands in messages in place of a file's name. Relative paths start from the current folder.
    static LayoutJob fromText(const std::string& text, const std::string& name);

    const Cli::LayoutFile& file() const { return file_; }
    const std::string& name() const { return name_; }

    // What overrides the file. A filter that does not exist is refused at once, all else when the layout is built.
    void setVariable(const std::string& variable, const std::string& value);
    /// @param target "filter:property", or "property" where one filter has it
    void set(const std::string& target, Cli::PropertyValue value);
    /// @param target "filter:command"
    void command(const std::string& target);
    /// @param target "filter:pin"  @throws Refusal
    void requireTarget(const std::string& target) const;

    struct RunOptions {
        std::vector<std::string> probes;
        bool threads = false;
        bool stopOnError = false;
    };
    /// Runs it to the end of its sources, as `kavelin run`.  @throws as the program refuses it
    /// [one call at a time in the process]
    LayoutRunReport run(const RunOptions& options) const;
    /// The mistakes that `kavelin check` finds, a line each; none where there are none.  [as run]
    std::vector<std::string> check() const;

private:
    LayoutJob(Cli::LayoutFile file, std::string name) : file_(std::move(file)), name_(std::move(name)) {}
    static LayoutJob checked(Cli::LayoutFile file, std::string name, Cli::Mistakes mistakes);
    /// A copy with a folder for results, as the program gives it.
    Cli::LayoutFile readied() const;
    void buildChecked(Cli::LayoutBuilder& builder) const;

    Cli::LayoutFile file_;
    std::string name_;
    std::string path_;  // empty for one that is no file
};

}  // namespace Kavelin::Python
