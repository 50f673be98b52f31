#include "cli/validate/Subject.h"

#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/FlowManager.h>
#include <Poco/Exception.h>

#include "cli/SettingsFile.h"

namespace Kavelin::Cli {

namespace {

/// The same on every machine, unlike std::hash.  Source: FNV-1a.
std::uint64_t mixed(std::uint64_t seed, std::string_view text) {
    std::uint64_t hash = 0xCBF29CE484222325u ^ seed;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
    return hash;
}

}  // namespace

Subject::Subject(std::string plugin, std::string type, std::string_view check, std::uint64_t seed,
                 CheckRecord& record)
    : plugin_(std::move(plugin)),
      type_(std::move(type)),
      random_(mixed(mixed(seed, type_), check)),
      record_(record) {}

Core::FilterPtr Subject::makeBare(const std::string& name) const {
    return Core::FlowManager::instance().getPluginManager().createFilter(type_, name);
}

std::vector<std::string> Subject::otherTypes() const {
    std::vector<std::string> types = Core::FlowManager::instance().getPluginManager().getTypeNames();
    std::erase(types, type_);
    return types;
}

Core::FilterPtr Subject::makeOther(const std::string& type) const {
    return Core::FlowManager::instance().getPluginManager().createFilter(type, "other");
}

Core::FilterPtr Subject::make(const std::string& name) const {
    Core::FilterPtr filter = makeBare(name);
    const std::string settings = defaultSettings(*filter);
    if (!settings.empty()) filter->getPropertyBag().get(kSettingsProperty).setExactText(settings);
    if (!filter->getPins().empty()) return filter;
    for (const char* pin : {"3a", "3g", "3m"}) {
        try {
            filter->getInputPin(pin);
        } catch (const Poco::NotFoundException&) {
        }
    }
    return filter;
}

}  // namespace Kavelin::Cli
