#include "cli/PaceOption.h"

#include <Kavelin/Core/FlowManager.h>

#include <CLI/CLI.hpp>

#include "cli/CommandContext.h"
#include "cli/layout/RoundGate.h"
#include "io/RecordingSource.h"

namespace Kavelin::Cli {

void addPaceOption(CLI::App& command, double& pace) {
    command
        .add_option_function<std::string>(
            "--pace", [&pace](const std::string& text) { pace = *parsePace(text); },
            "Send a recording as if it were live: 1 is real time, 10 ten times as fast, max (without it) as "
            "fast "
            "as it goes")
        ->check([](const std::string& text) {
            return parsePace(text) ? std::string() : "'" + text + "' is no pace: a positive number or max";
        })
        ->type_name("N|max");
}

void requirePaceable(double pace, const Core::FlowManager& flow) {
    if (pace == kFullPace) return;
    for (const Core::LayoutManager* layout : flow.getLayouts()) {
        for (const Core::Filter* filter : layout->getFilters()) {
            const auto* source = dynamic_cast<const RecordingIO::RecordingSource*>(filter);
            if (source && source->isLive())
                throw UsageError("--pace: '" + filter->getName() + "' takes its rows from " +
                                 source->recordingName() + " as they come; only a file can be paced");
        }
    }
}

}  // namespace Kavelin::Cli
