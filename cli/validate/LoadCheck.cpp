#include <Kavelin/Core/FlowManager.h>

#include <filesystem>

#include "cli/validate/Checks.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

constexpr int kTimes = 100;

std::size_t entriesOf(const char* folder) {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
    return count;
}

void requireAsBefore(const char* what, std::size_t before, std::size_t now) {
    if (now > before)
        throw Fault({}, fmt::format("{} {} more than before it was loaded", now - before, what),
                    "unloading gives back what loading took");
}

}  // namespace

void checkLoad(Subject& subject) {
    Core::PluginManager& plugins = Core::FlowManager::instance().getPluginManager();
    const std::vector<std::string> types = plugins.getTypeNames();
    plugins.unloadAll();
    const std::size_t threads = entriesOf("/proc/self/task"), files = entriesOf("/proc/self/fd");
    for (int i = 1; i <= kTimes; ++i) {
        subject.at("loading it, time {}", i);
        plugins.load(subject.plugin());
        if (plugins.getTypeNames() != types)
            throw Fault({}, "its types are not those of the first time", "the same each time");
        for (const std::string& type : types) plugins.createFilter(type, "one of them");
        subject.at("unloading it, time {}", i);
        plugins.unloadAll();
        if (!plugins.getTypeNames().empty() || !plugins.getPlugins().empty())
            throw Fault({}, "its types are still offered", "dllStopPlugin uninstalls the plugin");
    }
    requireAsBefore("threads", threads, entriesOf("/proc/self/task"));
    requireAsBefore("open files", files, entriesOf("/proc/self/fd"));
}

}  // namespace Kavelin::Cli
