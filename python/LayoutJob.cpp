#include "python/LayoutJob.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Core/Names.h>
#include <fmt/format.h>

#include <algorithm>
#include <sstream>

#include "cli/CommandContext.h"
#include "cli/layout/LayoutBuilder.h"
#include "cli/layout/LayoutFileRun.h"
#include "cli/layout/LayoutRun.h"
#include "cli/layout/NearestNames.h"
#include "cli/layout/Overrides.h"
#include "python/Errors.h"

namespace Kavelin::Python {

using Cli::LayoutFile;
using Cli::Mistakes;

namespace {

using Kind = Refusal::Kind;

Core::FlowManager& flow() { return Core::FlowManager::instance(); }

std::vector<std::string> linesOf(Mistakes mistakes, const std::string& name) {
    Cli::sortByPlace(mistakes);
    std::vector<std::string> lines;
    for (const Cli::Mistake& mistake : mistakes) lines.push_back(toText(mistake, name));
    return lines;
}

/// @throws Cli::UsageError with all of them, as the program says them.
void requireNone(const Mistakes& mistakes, const std::string& name) {
    if (mistakes.empty()) return;
    throw Cli::UsageError(fmt::format("{}\n{} cannot be run: {}", fmt::join(linesOf(mistakes, name), "\n"),
                                      name, Cli::countText(mistakes)));
}

/// Takes the variables of a layout back from the flow manager: those of one run must not show in the next.
class VariablesOf {
public:
    explicit VariablesOf(const LayoutFile& file) {
        for (const Cli::VariableEntry& variable : file.variables) names_.push_back(variable.name.text);
    }
    ~VariablesOf() {
        for (const std::string& name : names_) flow().removeVariable(name);
    }
    VariablesOf(const VariablesOf&) = delete;
    VariablesOf& operator=(const VariablesOf&) = delete;

private:
    std::vector<std::string> names_;
};

/// The pin that sends what a probe hears: an output, or the one that is connected to an input.
Core::AbstractOutputPin& sourceOf(const std::string& probe, const Cli::LayoutBuilder& builder) {
    Cli::Target target;
    Cli::splitTarget(probe, target);
    const Core::Filter& filter = *builder.find(target.filter);
    if (Core::AbstractOutputPin* output = filter.findOutputPin(target.element)) return *output;
    const Core::AbstractInputPin* input = filter.findInputPin(target.element);
    std::vector<std::string> pins;
    for (const Core::Pin* pin : filter.getPins()) pins.push_back(pin->getName());
    if (input == nullptr)
        throw Refusal(Kind::kUnknownName,
                      Cli::named(filter) + ": " + Cli::noSuch("pin", target.element, pins));
    if (input->getConnectedOutput() == nullptr)
        throw Refusal(Kind::kInvalidValue, fmt::format("probe {}: no connection leads to this input", probe));
    return *input->getConnectedOutput();
}

/// Listens to pins of built layouts for as long as it lives.
class Probes {
public:
    Probes(const std::vector<std::string>& targets, const Cli::LayoutBuilder& builder,
           LayoutRunReport& report) {
        for (const std::string& target : targets) {
            Core::AbstractOutputPin& source = sourceOf(target, builder);
            SampleTable& table = report.probes[target];
            table.shape = source.content().shape;
            logs_.push_back(std::make_unique<SampleLog>(target));
            logs_.back()->writeTo(&table);
            source.attachInput(*logs_.back(), false);
        }
    }

private:
    std::vector<std::unique_ptr<SampleLog>> logs_;
};

}  // namespace

LayoutJob LayoutJob::checked(LayoutFile file, std::string name, Mistakes mistakes) {
    requireNone(mistakes, name);
    return {std::move(file), std::move(name)};
}

LayoutJob LayoutJob::fromFile(const std::string& path) {
    Mistakes mistakes;
    LayoutFile file = readingFile(path, [&] { return Cli::loadLayout(path, mistakes); });
    LayoutJob job = checked(std::move(file), path, mistakes);
    job.path_ = std::filesystem::absolute(path).string();
    return job;
}

LayoutJob LayoutJob::fromText(const std::string& text, const std::string& name) {
    Mistakes mistakes;
    LayoutFile file = Cli::parseLayout(text, mistakes);
    file.folder = std::filesystem::current_path();
    return checked(std::move(file), name, mistakes);
}

void LayoutJob::setVariable(const std::string& variable, const std::string& value) {
    Cli::setVariable(file_, variable, value, fmt::format("variables[\"{}\"]", variable));
}

void LayoutJob::requireTarget(const std::string& text) const {
    Cli::Target target;
    if (!Cli::splitTarget(text, target))
        throw Refusal(Kind::kInvalidValue, fmt::format("\"{}\": the form \"filter:name\" is expected", text));
    if (file_.findFilter(target.filter) == nullptr)
        throw Refusal(Kind::kUnknownName, Cli::noSuch("filter", target.filter, file_.filterNames()));
}

void LayoutJob::set(const std::string& text, Cli::PropertyValue value) {
    const Cli::Place place{0, 0, fmt::format("set(\"{}\")", text)};
    value.place = place;
    if (text.find(':') == std::string::npos) {
        file_.settings.push_back({{text, place}, std::move(value)});
        return;
    }
    requireTarget(text);
    Cli::Target target;
    Cli::splitTarget(text, target);
    file_.findFilter(target.filter)->set({{target.element, place}, std::move(value)});
}

void LayoutJob::command(const std::string& text) {
    requireTarget(text);
    Cli::Target target;
    Cli::splitTarget(text, target);
    const Cli::Place place{0, 0, fmt::format("command(\"{}\")", text)};
    file_.findFilter(target.filter)->commands.push_back({target.element, place});
}

LayoutFile LayoutJob::readied() const {
    LayoutFile file = file_;
    const bool knowsOut = std::any_of(file.variables.begin(), file.variables.end(),
                                      [](const auto& variable) { return variable.name.text == "OUT"; });
    if (!knowsOut) Cli::setVariable(file, "OUT", std::filesystem::current_path().string(), "out");
    return file;
}

/// What is wrong goes to the builder's mistakes.
void LayoutJob::buildChecked(Cli::LayoutBuilder& builder) const {
    builder.build();
    std::vector<Cli::FileUse> alsoUsed;
    if (!path_.empty())
        alsoUsed.push_back({.filter = "kavelin", .property = "LAYOUT", .file = path_, .place = {}});
    builder.check(alsoUsed);
}

LayoutRunReport LayoutJob::run(const RunOptions& options) const {
    LayoutRunReport report;
    LayoutFile file = readied();
    const VariablesOf variables(file);
    Mistakes mistakes, remarks, doubts;
    Cli::LayoutBuilder builder(file, flow(), mistakes);
    buildChecked(builder);
    requireNone(mistakes, name_);
    builder.rebuild();
    const Probes probes(options.probes, builder, report);
    builder.findIdle(remarks);
    builder.findDoubts(doubts);
    Cli::makeOutFolder(file);
    builder.activateCommands();
    builder.prepareRun();
    requireNone(mistakes, name_);
    std::ostringstream said;
    Cli::LayoutRun run(
        file, builder, flow(), said,
        {.threads = options.threads, .stopOnError = options.stopOnError, .hasProgress = false});
    const bool isFine = run.run();
    report.errors = linesOf(doubts, name_);  // the results may look right
    report.notes = linesOf(remarks, name_);
    for (const Cli::RunReport& one : run.reports())
        (one.isError ? report.errors : report.notes).push_back(one.text);
    report.status = isFine && doubts.empty() ? Cli::kDone : Cli::kDoneWithErrors;
    return report;
}

std::vector<std::string> LayoutJob::check() const {
    LayoutFile file = readied();
    const VariablesOf variables(file);
    Mistakes mistakes;
    Cli::LayoutBuilder builder(file, flow(), mistakes);
    buildChecked(builder);
    builder.findIdle(mistakes);
    builder.findDoubts(mistakes);
    return linesOf(mistakes, name_);
}

}  // namespace Kavelin::Python
