#include "cli/Plugins.h"

#include <Kavelin/Core/FlowManager.h>
#include <Poco/Exception.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <map>
#include <ostream>

#include "cli/CommandContext.h"

namespace Kavelin::Cli {

namespace fs = std::filesystem;

namespace {

bool isPluginModule(const fs::path& file) {
    return file.extension() == ".so" && file.filename().string().starts_with("KavelinPlugin");
}

/// The modules of the search path, ordered by name;
/// an earlier folder hides a later one's module of the same name.
std::map<std::string, fs::path> findModules() {
    std::map<std::string, fs::path> modules;
    for (const fs::path& folder : Core::PluginManager::searchPath()) {
        std::error_code unreadable;
        for (const auto& entry : fs::directory_iterator(folder, unreadable))
            if (isPluginModule(entry.path())) modules.emplace(entry.path().filename().string(), entry.path());
    }
    return modules;
}

}  // namespace

std::vector<fs::path> pluginsFound() {
    std::vector<fs::path> paths;
    for (const auto& [name, path] : findModules()) paths.push_back(path);
    return paths;
}

void addPluginOption(CLI::App& command, std::vector<std::string>& plugins) {
    command
        .add_option("--plugin", plugins,
                    "Load this plugin too: a module's name, or its path; may be repeated")
        ->type_name("NAME|PATH")
        ->allow_extra_args(false);
}

void loadPlugins(CommandContext& context, const std::vector<std::string>& named) {
    Core::PluginManager& manager = Core::FlowManager::instance().getPluginManager();
    for (const auto& [name, path] : findModules()) {
        try {
            manager.load(path.string());
        } catch (const Poco::Exception& error) {
            context.err << "kavelin: plugin left out: " << error.message() << std::endl;
        }
    }
    for (const std::string& plugin : named) manager.load(plugin);
}

}  // namespace Kavelin::Cli
