// Filters driven by a script: no settings, property texts, commands or samples of any shape, value and time make one
// crash, hang or lose memory; what it refuses is an exception, which the script's answer tells.

#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/ErrorLog.h>
#include <Poco/Exception.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>

#include "cli/CommandContext.h"
#include "cli/ScriptRunner.h"
#include "cli/SettingsFile.h"
#include "fuzz/FuzzedPlugin.h"

namespace {

using namespace Kavelin;
using namespace Kavelin::Cli;

constexpr std::string_view kSettings = "#settings\n";  // begins the text of a settings file or a calibration
constexpr std::uint64_t kMostCalls = 20;               // of `process`, in a line
constexpr std::size_t kMostLines = 400;

/// A file in memory.
class MemoryFile {
public:
    explicit MemoryFile(std::string_view text) : fd_(::memfd_create("fuzz", MFD_CLOEXEC)) {
        if (fd_ < 0 || ::write(fd_, text.data(), text.size()) != static_cast<::ssize_t>(text.size()))
            std::abort();
    }
    ~MemoryFile() { ::close(fd_); }
    std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

private:
    const int fd_;
};

/// Whether it is left out: no file is named by the fuzzer, and none of it is as large as to take long.
bool isLeftOut(const PropertyLine& line, const Core::Filter& filter) {
    const Core::AbstractProperty* property = filter.getPropertyBag().find(line.property);
    return (property && property->describe().kind == "file name") || Fuzz::isOfLargeMatrix(line.value);
}

void drive(Core::Filter& filter, std::string_view script) {
    std::ostringstream out;
    ScriptRunner runner(filter, out);
    for (std::size_t number = 0; !script.empty() && number < kMostLines; ++number) {
        const std::size_t end = std::min(script.find('\n'), script.size());
        try {
            auto line = parseScriptLine(script.substr(0, end));
            if (line) {
                if (auto* calls = std::get_if<ProcessLine>(&*line))
                    calls->times = std::min(calls->times, kMostCalls);
                const auto* write = std::get_if<PropertyLine>(&*line);
                if (!write || !isLeftOut(*write, filter)) runner.execute(*line);
            }
        } catch (const UsageError& refused) {
            if (*refused.what() == '\0') std::abort();
        }
        script.remove_prefix(std::min(end + 1, script.size()));
    }
    if (out.str().find("bad_alloc") != std::string::npos) std::abort();
}

void useSettings(Core::Filter& filter, const std::string& path) {
    for (Core::AbstractProperty* property : filter.getPropertyBag().getProperties()) {
        if (!property->hasValue() || property->describe().kind != "file name") continue;
        try {
            property->deSerialize(path);
        } catch (const Poco::Exception&) {
            // A file that cannot be used is refused, and the filter goes on as it was.
        }
    }
}

}  // namespace

/// The first byte chooses a filter type; a script follows, and after "#settings" the file that its file names name.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Fuzz::FuzzedPlugin& plugin = *new Fuzz::FuzzedPlugin;
    std::cout.setstate(std::ios::failbit);  // messages of the settings reader
    if (size == 0) return 0;
    std::string_view script(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::size_t mark = std::min(script.find(kSettings), script.size());
    const bool hasSettings = mark < script.size();
    const MemoryFile settings(hasSettings ? script.substr(mark + kSettings.size()) : "");
    const auto& factories = plugin.getFactories();
    Core::Filter* made = factories[data[0] % factories.size()]->create("fuzzed");
    const std::unique_ptr<Core::Filter> filter(made);
    if (hasSettings) useSettings(*filter, settings.path());
    drive(*filter, script.substr(0, mark));
    return 0;
}
