#include "cli/layout/Overrides.h"

#include <algorithm>

#include "cli/layout/NearestNames.h"

namespace Kavelin::Cli {

bool readOverride(const std::string& text, const Place& place, PropertyValue& value, Mistakes& mistakes) {
    value.text = text;
    value.place = place;
    if (text.empty() || text.front() != '[') return true;
    JsonNode node;
    Mistakes inside;
    if (parseJson(text, node, inside)) readPropertyValue(node, value, inside);
    value.place = place;
    for (const Mistake& mistake : inside) mistakes.push_back({place, mistake.text});
    return inside.empty();
}

void overrideProperty(LayoutFile& layout, const std::string& assignment, Mistakes& mistakes,
                      const std::string& written) {
    const Place place{0, 0, "--set \"" + (written.empty() ? assignment : written) + "\""};
    const auto equals = assignment.find('=');
    const auto colon = assignment.find(':');
    const bool namesFilter = colon < equals;
    const std::string filterName = namesFilter ? assignment.substr(0, colon) : "";
    const std::size_t begin = namesFilter ? colon + 1 : 0;
    const std::string name = assignment.substr(begin, equals - begin);
    const bool isCommand = namesFilter && equals == std::string::npos;
    if ((equals == std::string::npos && !isCommand) || name.empty() || (namesFilter && filterName.empty())) {
        mistakes.push_back({place, "takes the form FILTER:PROPERTY=VALUE"});
        return;
    }
    FilterEntry* filter = layout.findFilter(filterName);
    if (namesFilter && filter == nullptr) {
        mistakes.push_back({place, noSuch("filter", filterName, layout.filterNames())});
        return;
    }
    if (isCommand) {
        filter->commands.push_back({name, place});
        return;
    }
    PropertyEntry entry{{name, place}, {}};
    if (!readOverride(assignment.substr(equals + 1), place, entry.value, mistakes)) return;
    if (filter != nullptr)
        filter->set(std::move(entry));
    else
        layout.settings.push_back(std::move(entry));
}

void overrideVariable(LayoutFile& layout, const std::string& assignment, Mistakes& mistakes) {
    const std::string option = "--var \"" + assignment + "\"";
    const auto equals = assignment.find('=');
    if (equals == std::string::npos || equals == 0)
        mistakes.push_back({{0, 0, option}, "takes the form NAME=VALUE"});
    else
        setVariable(layout, assignment.substr(0, equals), assignment.substr(equals + 1), option);
}

void setVariable(LayoutFile& layout, const std::string& name, const std::string& value,
                 const std::string& option) {
    const Place place{0, 0, option};
    const auto old = std::find_if(layout.variables.begin(), layout.variables.end(),
                                  [&](const VariableEntry& variable) { return variable.name.text == name; });
    if (old == layout.variables.end())
        layout.variables.push_back({{name, place}, {value, place}});
    else
        old->value = {value, place};
}

}  // namespace Kavelin::Cli
