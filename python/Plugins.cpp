#include "python/Plugins.h"

#include <Kavelin/Core/FlowManager.h>
#include <dlfcn.h>
#include <pybind11/stl.h>

#include <filesystem>
#include <sstream>

#include "cli/CommandContext.h"
#include "cli/Description.h"
#include "cli/Plugins.h"
#include "cli/SettingsFile.h"
#include "python/Bindings.h"
#include "python/Values.h"
#include "python/Warnings.h"

namespace Kavelin::Python {

namespace py = pybind11;

namespace {

/// The folder of the program that came with this module: its data is found from there.
std::filesystem::path programFolder() {
    Dl_info self{};
    if (::dladdr(reinterpret_cast<const void*>(&usePlugins), &self) == 0 || self.dli_fname == nullptr)
        return {};
    return std::filesystem::absolute(self.dli_fname).parent_path() / KAVELIN_PROGRAM_FROM_PACKAGE;
}

}  // namespace

void usePlugins(const std::vector<std::string>& named) {
    static bool haveComeWithProgram = false;
    std::istringstream nothing;
    std::ostringstream out, messages;
    Cli::CommandContext context{nothing, out, messages};
    if (!haveComeWithProgram) {
        Cli::setProgramFolder(programFolder());
        Cli::loadPlugins(context, {});
    }
    haveComeWithProgram = true;
    warnOf(messages.str());
    for (const std::string& plugin : named) Core::FlowManager::instance().getPluginManager().load(plugin);
}

namespace {

std::vector<std::string> typeNames(const std::vector<Text>& plugins) {
    usePlugins({plugins.begin(), plugins.end()});
    return Core::FlowManager::instance().getPluginManager().getTypeNames();
}

std::string describe(const Text& type) {
    return Cli::describeType(type).dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace

void bindPlugins(py::module_& module) {
    module.def("types", &typeNames, py::arg("plugins"));
    module.def("describe", &describe, py::arg("type"));
}

}  // namespace Kavelin::Python
