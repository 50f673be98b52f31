#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/CommandContext.h"
#include "cli/LayoutOptions.h"
#include "cli/layout/Checkpoint.h"
#include "cli/layout/LayoutRun.h"

namespace Kavelin::Cli {

struct LayoutFileRunOptions {
    LayoutOptions layout;
    LayoutRunOptions run;
    std::string save;                   ///< file for the layout as it is afterwards; empty: none
    double pace = kFullPace;            ///< of the recordings
    std::string checkpoint;             ///< file, written as the run goes on; empty: none
    std::optional<double> every;        ///< s between two checkpoints; without it 10
    std::string resume;                 ///< checkpoint of the run that this one goes on with; empty: none
    std::string plot;                   ///< picture to draw; empty: none
    std::vector<std::string> plotPins;  ///< "FILTER:PIN", in place of what the file has drawn
};

/// One run of `kavelin run`: builds what a layout file describes, checks it, and runs it.
class LayoutFileRun {
public:
    /// Builds everything; the files that the run writes are as they were.
    /// @throws UsageError after a line for each mistake
    LayoutFileRun(const LayoutFileRunOptions& options, CommandContext& context);

    /// Runs to the end, reports on standard error, sets the exit status.
    /// @param gate in place of the pace of the options; @param watcher as in LayoutRunOptions
    void run(RoundGate* gate = nullptr, RunWatcher* watcher = nullptr);

    const LayoutFile& file() const { return layout_; }
    const LayoutBuilder& builder() const { return builder_; }

private:
    void build();
    void choosePlot();
    void prepareCheckpoint();
    void requireNoMistakes();

    const LayoutFileRunOptions options_;
    CommandContext& context_;
    Mistakes mistakes_;
    LayoutFile layout_;
    LayoutBuilder builder_;
    std::unique_ptr<Checkpoint> checkpoint_;
    std::optional<RunProgress> resumed_;
};

/// Makes the folder that ${OUT} stands for, where there is none; a relative one is resolved as file names in the layout
/// are.  @throws UsageError
void makeOutFolder(const LayoutFile& layout);

}  // namespace Kavelin::Cli
