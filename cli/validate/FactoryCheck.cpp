#include <Kavelin/Core/ComponentVersion.h>
#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Core/Version.h>

#include "cli/validate/Checks.h"
#include "cli/validate/PropertyTexts.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

void requireMetaData(const std::string& type) {
    const Core::Plugin* plugin = Core::FlowManager::instance().getPluginManager().findPluginOf(type);
    if (plugin == nullptr) throw Fault({}, "no plugin offers the type", "the plugin that installed it");
    const Core::PluginMetaData& data = plugin->getMetaData();
    if (data.name.empty() || data.name != plugin->getName())
        throw Fault("metadata of the plugin", "name " + shownText(data.name),
                    "the plugin's, " + shownText(plugin->getName()));
    Core::ComponentVersion{data.version};  // raises for what is no version
    if (!data.hostVersion.empty() && data.hostVersion != Core::kHostVersion)
        throw Fault("metadata of the plugin", "host version " + shownText(data.hostVersion),
                    shownText(Core::kHostVersion));
}

}  // namespace

void checkFactory(Subject& subject) {
    subject.at("metadata of the plugin");
    requireMetaData(subject.type());
    for (const std::string name :
         {"one", "", "with blanks and \xc3\xbc", "a name that is longer than the small buffer of a text"}) {
        subject.at("an instance called {}", shownText(name));
        const Core::FilterPtr first = subject.makeBare(name), second = subject.makeBare(name);
        if (first.get() == second.get())
            throw Fault(subject.step(), "the factory gave the same object twice", "a new one each time");
        if (first->typeName() != subject.type())
            throw Fault(subject.step(), "its type is " + shownText(first->typeName()),
                        "that of its factory, " + shownText(subject.type()));
        if (first->getName() != name)
            throw Fault(subject.step(), "its name is " + shownText(first->getName()), "the one it was given");
        if (first->getManager() != nullptr)
            throw Fault(subject.step(), "it is in a layout", "none before it is added to one");
    }
}

}  // namespace Kavelin::Cli
