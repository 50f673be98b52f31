// The command line: any words are understood or refused with a message; so are the texts that options hold.

#include <Poco/Exception.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "cli/CommandContext.h"
#include "cli/SimulateOptions.h"
#include "cli/TimeInterval.h"
#include "cli/fuse/FuseArguments.h"
#include "cli/fuse/FuseOptions.h"
#include "cli/fuse/UnitFiles.h"
#include "cli/joint/JointOptions.h"
#include "cli/layout/Overrides.h"
#include "io/files/LiveAddress.h"
#include "io/recording/ColumnNames.h"
#include "io/recording/ResultPath.h"
#include "io/recording/Units.h"

namespace {

using namespace Kavelin;
using namespace Kavelin::Cli;

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

/// A refusal is one of these exceptions, and says something.
template <class Action>
void refusable(Action action) {
    try {
        action();
    } catch (const UsageError& refusal) {
        if (*refusal.what() == '\0') std::abort();
    } catch (const Poco::DataFormatException& refusal) {
        if (refusal.message().empty()) std::abort();
    }
}

void readTexts(const FuseOptions& options) {
    refusable([&] { openOptions(options); });
    refusable([&] { RecordingIO::parseAxes(options.axes); });
    refusable([&] { RecordingIO::parseUnits(options.units); });
    refusable([&] { RecordingIO::parseMapping(options.mapping); });
    refusable([&] { UnitFiles("--calibration", options.calibration).of("thigh"); });
    refusable([&] { UnitFiles("--mount", options.mount).requireOneEach("thigh and shank"); });
    LayoutFile layout;
    layout.layouts.push_back({{"fuse", {}}, {{{"attitude", {}}, {"FilterAttitude", {}}, {}, {}}}});
    Mistakes mistakes;
    for (const std::string& setting : options.settings) overrideProperty(layout, setting, mistakes);
    for (const std::string& setting : options.settings) overrideVariable(layout, setting, mistakes);
    for (const Mistake& mistake : mistakes)
        if (mistake.text.empty()) std::abort();
}

/// Options of fuse, and of simulate.
void parse(std::vector<std::string> words) {
    std::reverse(words.begin(), words.end());
    const auto parsed = [&words](CLI::App& command) {
        try {
            command.parse(std::vector<std::string>(words));
            return true;
        } catch (const CLI::ParseError&) {
            return false;
        }
    };
    FuseOptions fuse;
    CLI::App fuseCommand;
    addFuseOptions(fuseCommand, fuse);
    if (parsed(fuseCommand)) {
        if (!(fuse.outputRate >= 0.0) || !(fuse.rate >= 0.0) || !(fuse.pace > 0.0)) std::abort();
        readTexts(fuse);
    }
    SimulateOptions simulate;
    CLI::App simulateCommand;
    addSimulationOptions(simulateCommand, simulate);
    if (parsed(simulateCommand)) simulate.settleLength();
}

}  // namespace

/// Each line is a word of the command line, and a text that an option might hold.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto words = linesOf({reinterpret_cast<const char*>(data), size});
    parse(words);
    for (const std::string& word : words) {
        refusable([&] {
            const TimeInterval interval = timeInterval("--pose", word);
            if (!(interval.begin < interval.end)) std::abort();
        });
        refusable([&] {
            const JointUnits units = jointUnits(word, {"thigh.csv", "shank.csv"});
            if (units[0].name == units[1].name) std::abort();
        });
        refusable([&] {
            const RecordingIO::AxesChoice axes = RecordingIO::parseAxes(word);
            for (const double q : RecordingIO::turnOf(axes.all))
                if (!(std::abs(q) <= 1.0)) std::abort();
        });
        refusable([&] { RecordingIO::parseUnits(word); });
        refusable([&] { RecordingIO::parseDialect(word); });
        refusable([&] { RecordingIO::parseMapping(word); });
    }
    return 0;
}
