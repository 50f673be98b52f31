#pragma once

#include <Kavelin/Core/PluginManager.h>

#include <cstdint>
#include <string>

#include "cli/validate/CheckRecord.h"
#include "cli/validate/Fault.h"
#include "simulation/Random.h"

namespace Kavelin::Cli {

/// What a check is about: one filter type of the plugin that is loaded, or the plugin itself; and where it notes its steps.
class Subject {
public:
    using Random = RecordingIO::Random;

    /// @param plugin name or path, as it was given.  @param type empty: the plugin.
    /// @param seed that of the whole run: each check of each type has numbers of its own.
    Subject(std::string plugin, std::string type, std::string_view check, std::uint64_t seed,
            CheckRecord& record);

    const std::string& plugin() const { return plugin_; }
    const std::string& type() const { return type_; }
    Random& random() { return random_; }

    /// A new filter as its constructor leaves it.
    Core::FilterPtr makeBare(const std::string& name = "validated") const;
    /// The same with the settings file that comes with the program, where it has one, and with pins "3a", "3g" and "3m"
    /// where it makes pins on demand.
    Core::FilterPtr make(const std::string& name = "validated") const;

    /// The other types of the plugin, and a new filter of one.
    std::vector<std::string> otherTypes() const;
    Core::FilterPtr makeOther(const std::string& type) const;

    /// Notes what the check does next: where it is, should it crash, hang or fail.
    template <class... Parts>
    void at(fmt::format_string<Parts...> format, Parts&&... parts) const {
        record_.step.set(format, std::forward<Parts>(parts)...);
    }
    std::string step() const { return record_.step.str(); }

private:
    std::string plugin_, type_;
    Random random_;
    CheckRecord& record_;
};

}  // namespace Kavelin::Cli
