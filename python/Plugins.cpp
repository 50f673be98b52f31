#include "python/Plugins.h"

#include <Kavelin/Core/FlowManager.h>
#include <pybind11/stl.h>

#include <sstream>

#include "cli/CommandContext.h"
#include "cli/Plugins.h"
#include "python/Bindings.h"
#include "python/Warnings.h"

namespace Kavelin::Python {

namespace py = pybind11;

void usePlugins(const std::vector<std::string>& named) {
    static bool haveComeWithProgram = false;
    std::istringstream nothing;
    std::ostringstream out, messages;
    Cli::CommandContext context{nothing, out, messages};
    if (!haveComeWithProgram) Cli::loadPlugins(context, {});
    haveComeWithProgram = true;
    warnOf(messages.str());
    for (const std::string& plugin : named) Core::FlowManager::instance().getPluginManager().load(plugin);
}

namespace {

std::vector<std::string> typeNames(const std::vector<std::string>& plugins) {
    usePlugins(plugins);
    return Core::FlowManager::instance().getPluginManager().getTypeNames();
}

}  // namespace

void bindPlugins(py::module_& module) {
    module.def("filters", &typeNames, py::arg("plugins") = std::vector<std::string>{},
               "The filter types of the loaded plugins.\n\n"
               "plugins: names or paths of plugins to load in addition to those that come with kavelin.");
}

}  // namespace Kavelin::Python
