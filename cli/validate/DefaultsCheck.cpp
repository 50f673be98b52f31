#include <Kavelin/Core/AbstractProperty.h>

#include <map>

#include "cli/validate/Checks.h"
#include "cli/validate/FilterRig.h"
#include "cli/validate/PropertyTexts.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

using Values = std::map<std::string, std::string>;

Values valuesOf(const Core::Filter& filter) {
    Values values;
    for (const Core::AbstractProperty* property : valueProperties(filter))
        values[property->getName()] = property->exactText();
    return values;
}

void requireSame(const Values& defaults, const Core::Filter& filter, const std::string& when) {
    for (const auto& [name, text] : valuesOf(filter)) {
        const auto known = defaults.find(name);
        if (known != defaults.end() && known->second == text) continue;
        throw Fault(fmt::format("property \"{}\"", name),
                    "a new instance " + when + " has " + shownText(text),
                    "the default, " + (known == defaults.end() ? "none" : shownText(known->second)));
    }
}

}  // namespace

void checkDefaults(Subject& subject) {
    const Core::FilterPtr first = subject.makeBare("first");
    const Values defaults = valuesOf(*first);
    requireSame(defaults, *first, "asked again");
    requireSame(defaults, *subject.makeBare("second"), "beside another");
    const Core::FilterPtr used = subject.make("used");
    for (Core::AbstractProperty* property : valueProperties(*used)) {
        subject.at("writing property \"{}\" of another instance", property->getName());
        for (const std::string& text : plausibleTexts(*used, *property)) isTaken(*property, text);
    }
    activateCommands(*used);
    FilterRig rig(subject, *used);
    feedRows(rig, simulatedRows(2.0, 50.0, 1), {}, subject);
    requireSame(defaults, *subject.makeBare("third"), "after another was set and run");
}

}  // namespace Kavelin::Cli
