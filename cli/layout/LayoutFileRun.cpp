#include "cli/layout/LayoutFileRun.h"

#include <filesystem>
#include <optional>

#include "cli/Interruption.h"
#include "cli/PaceOption.h"
#include "cli/layout/LayoutWriter.h"
#include "cli/plot/LayoutPlot.h"
#include "io/recording/ResultFile.h"

namespace Kavelin::Cli {

namespace {

constexpr double kEvery = 10.0;  // s between two checkpoints

}  // namespace

void makeOutFolder(const LayoutFile& layout) {
    const std::string out = Core::FlowManager::instance().expandVariables("${OUT}");
    if (out.empty()) return;
    const std::filesystem::path folder = layout.folder / out;
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) throw UsageError("the folder " + folder.string() + " cannot be made: " + error.message());
}

LayoutFileRun::LayoutFileRun(const LayoutFileRunOptions& options, CommandContext& context)
    : options_(options),
      context_(context),
      layout_(readLayout(options_.layout, mistakes_)),
      builder_(layout_, Core::FlowManager::instance(), mistakes_) {
    build();
}

void LayoutFileRun::requireNoMistakes() {
    if (mistakes_.empty()) return;
    printMistakes(context_, options_.layout.file, mistakes_);
    throw UsageError(options_.layout.file + " cannot be run: " + countText(mistakes_));
}

void LayoutFileRun::build() {
    builder_.build();
    choosePlot();
    std::vector<FileUse> alsoUsed{
        {.filter = "kavelin", .property = "LAYOUT", .file = options_.layout.file, .place = {}}};
    for (const auto& [option, file] : {std::pair("--save", options_.save), std::pair("--plot", options_.plot),
                                       std::pair("--checkpoint", options_.checkpoint)})
        if (!file.empty())
            alsoUsed.push_back({"kavelin", option, file, true, {.option = std::string(option) + " " + file}});
    builder_.check(alsoUsed);
    requireNoMistakes();
    builder_.rebuild();
    requirePaceable(options_.pace, Core::FlowManager::instance());
    Mistakes remarks;
    builder_.findIdle(remarks);
    if (const std::size_t idle = remarks.size(); builder_.findDoubts(remarks), remarks.size() > idle)
        context_.status = kDoneWithErrors;  // the results may look right
    printMistakes(context_, options_.layout.file, remarks);
    makeOutFolder(layout_);
    builder_.activateCommands();
    builder_.prepareRun();
    requireNoMistakes();
    if (!options_.save.empty()) RecordingIO::ResultFile::requireWritable(options_.save);
    prepareCheckpoint();
}

/// The first checkpoint, before the first row, shows whether there can be any.
void LayoutFileRun::prepareCheckpoint() {
    const std::string& file = options_.checkpoint;
    if (file.empty() && options_.every)
        throw UsageError("--every says how often --checkpoint is written: add it");
    if (file.empty() && options_.resume.empty()) return;
    const std::string option = file.empty() ? "--resume" : "--checkpoint";
    if (options_.run.threads)
        throw UsageError(option + ": layouts in threads are never all between two rows: leave out --threads");
    if (!options_.plot.empty())
        throw UsageError(option + ": a picture would lack what came before: leave out --plot");
    const Checkpoint::Layouts layouts = Core::FlowManager::instance().getLayouts();
    checkpoint_ = std::make_unique<Checkpoint>(file, options_.every.value_or(kEvery), writeLayout(layout_));
    if (file.ends_with(".part"))
        throw UsageError("--checkpoint " + file +
                         ": a name that ends in .part is that of an unfinished result");
    const bool mayBegin = options_.resume == file;
    if (!file.empty() && !mayBegin) checkpoint_->requireReplaceable();
    std::error_code unknown;
    const bool isThere = std::filesystem::exists(options_.resume, unknown);
    if (!options_.resume.empty() && (isThere || !mayBegin)) {
        resumed_ = checkpoint_->load(options_.resume, layouts);
        return;
    }
    try {
        checkpoint_->save({std::vector<RunProgress::Lane>(layouts.size()), {}, 0, {}}, layouts);
    } catch (const Poco::Exception& refusal) {
        throw UsageError("--checkpoint: " + refusal.message());
    }
}

/// The pins of the command line go before the panels of the file.
void LayoutFileRun::choosePlot() {
    if (options_.plot.empty() && !options_.plotPins.empty())
        throw UsageError("--plot-pin says what --plot draws: add --plot FILE.svg");
    if (!options_.plotPins.empty()) layout_.plot = panelsFor(options_.plotPins, layout_, builder_, mistakes_);
    if (!options_.plot.empty() && layout_.plot.empty() && mistakes_.empty())
        throw UsageError("--plot has nothing to draw: " + options_.layout.file +
                         " has no \"plot\"; name pins with --plot-pin FILTER:PIN");
}

void LayoutFileRun::run(RoundGate* given, RunWatcher* watcher) {
    RoundGate gate(options_.pace);
    LayoutRunOptions runOptions = options_.run;
    runOptions.gate = given ? given : options_.pace != kFullPace ? &gate : nullptr;
    runOptions.watcher = watcher;
    std::optional<LayoutPlot> plot;
    if (!options_.plot.empty()) plot.emplace(options_.plot).watch(layout_.plot, builder_);
    runOptions.checkpoint = options_.checkpoint.empty() ? nullptr : checkpoint_.get();
    runOptions.resumed = resumed_ ? &*resumed_ : nullptr;
    LayoutRun layoutRun(layout_, builder_, Core::FlowManager::instance(), context_.err, runOptions);
    if (!layoutRun.run()) context_.status = kDoneWithErrors;
    if (runOptions.checkpoint && !runOptions.checkpoint->isKept() && !Interruption::hasCome())
        runOptions.checkpoint->remove();
    if (!options_.save.empty()) builder_.save(options_.save);
    if (plot) plot->draw();
}

}  // namespace Kavelin::Cli
