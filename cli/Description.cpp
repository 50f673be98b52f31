#include "cli/Description.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/FlowManager.h>

#include <algorithm>
#include <iomanip>
#include <ostream>

#include "cli/layout/PropertyAccess.h"

namespace Kavelin::Cli {

using nlohmann::ordered_json;

namespace {

Core::PluginManager& pluginManager() { return Core::FlowManager::instance().getPluginManager(); }

/// A number's text as a JSON number; what JSON has no number for stays a text.
ordered_json numberOf(const std::string& text) {
    ordered_json number = ordered_json::parse(text, nullptr, false);
    return number.is_number() ? number : ordered_json(text);
}

ordered_json defaultOf(const Core::AbstractProperty& property) {
    const PropertyValue value = presentValue(property, {});
    if (value.kind != PropertyValue::Kind::text) return ordered_json::parse(jsonForm(value));
    std::string text;
    property.serialize(text);  // a label, or a text whose variables stay as they are written
    return text;
}

void describeContent(const Core::PinContent& content, ordered_json& json) {
    json["shape"] = Core::shapeText(content.shape);
    if (!content.takesText.empty()) json["takes"] = content.takesText;
    if (!content.quantity.empty()) json["quantity"] = content.quantity;
    if (!content.unit.empty()) json["unit"] = content.unit;
    if (!content.frame.empty()) json["frame"] = content.frame;
    if (content.isWallClockStamped) json["stamp"] = "wall clock";
}

ordered_json describePlugin(const Core::Plugin& plugin) {
    const Core::PluginMetaData& data = plugin.getMetaData();
    ordered_json json{{"name", data.name},
                      {"version", data.version},
                      {"hostVersion", data.hostVersion},
                      {"description", data.description},
                      {"platform", data.platform},
                      {"buildDate", data.buildDate}};
    json["types"] = ordered_json::array();
    for (const std::string& type : pluginManager().getTypeNames())
        if (pluginManager().findPluginOf(type) == &plugin) json["types"].push_back(type);
    return json;
}

std::string shown(const ordered_json& value) {
    return value.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

/// A heading, then a line for each: its name, and what `tell` says of it, in columns.
template <class Tell>
void printList(std::ostream& out, const char* heading, const ordered_json& described, Tell tell) {
    out << '\n' << heading << '\n';
    if (described.empty()) out << "  none\n";
    std::size_t width = 0;
    for (const auto& one : described)
        width = std::max(width, one["name"].get_ref<const std::string&>().size());
    for (const auto& one : described)
        out << "  " << std::left << std::setw(static_cast<int>(width))
            << one["name"].get_ref<const std::string&>() << "  " << tell(one) << '\n';
}

/// "1x3, acceleration in m/s^2, frame: sensor, optional".
std::string carried(const ordered_json& pin) {
    std::string text = pin.value("takes", pin["shape"].get<std::string>());
    if (pin.contains("quantity")) text += ", " + pin["quantity"].get<std::string>();
    if (pin.contains("unit")) text += " in " + pin["unit"].get<std::string>();
    if (pin.contains("frame")) text += ", frame: " + pin["frame"].get<std::string>();
    if (pin.contains("stamp")) text += ", stamped with the wall clock";
    if (pin.value("optional", false) || !pin.value("blocking", true)) text += ", optional";
    return text;
}

std::string remarks(const ordered_json& property) {
    std::string text;
    const auto add = [&](const std::string& remark) { text += (text.empty() ? ": " : ", ") + remark; };
    if (property.contains("default")) add("default " + shown(property["default"]));
    if (property.contains("unit")) add("in " + property["unit"].get<std::string>());
    if (property.contains("minimum") && property.contains("maximum"))
        add(shown(property["minimum"]) + " to " + shown(property["maximum"]));
    if (property.contains("step")) add("step " + shown(property["step"]));
    if (property.contains("labels")) add("one of " + shown(property["labels"]));
    if (!property["writable"].get<bool>()) add("not writable");
    if (!property["enabled"].get<bool>()) add("currently without effect");
    return text;
}

}  // namespace

ordered_json describePin(const Core::Pin& pin) {
    ordered_json json{{"name", pin.getName()}};
    if (const auto* input = dynamic_cast<const Core::AbstractInputPin*>(&pin)) {
        json["direction"] = "input";
        json["blocking"] = input->getIsBlocking();
        json["optional"] = pin.content().isOptional;
    } else {
        json["direction"] = "output";
    }
    describeContent(pin.content(), json);
    return json;
}

ordered_json describeProperty(const Core::AbstractProperty& property) {
    const Core::PropertyDescription about = property.describe();
    ordered_json json{{"name", property.getName()}, {"kind", about.kind}};
    json["writable"] = property.isWritable();
    json["enabled"] = property.isEnabled();
    if (property.hasValue()) json["default"] = defaultOf(property);
    if (about.minimum) json["minimum"] = numberOf(*about.minimum);
    if (about.maximum) json["maximum"] = numberOf(*about.maximum);
    if (about.step) json["step"] = numberOf(*about.step);
    if (!about.unit.empty()) json["unit"] = about.unit;
    if (!about.labels.empty()) json["labels"] = about.labels;
    return json;
}

ordered_json describePlugins() {
    ordered_json plugins = ordered_json::array();
    for (const Core::Plugin* plugin : pluginManager().getPlugins())
        plugins.push_back(describePlugin(*plugin));
    return {{"plugins", plugins}};
}

ordered_json describeType(const std::string& type) {
    return describeFilter(*pluginManager().createFilter(type, type));
}

ordered_json describeFilter(const Core::Filter& filter) {
    const Core::Plugin* plugin = pluginManager().findPluginOf(filter.typeName());
    ordered_json json{{"type", filter.typeName()}, {"plugin", plugin == nullptr ? "" : plugin->getName()}};
    json["pins"] = ordered_json::array();
    for (const Core::Pin* pin : filter.getPins()) json["pins"].push_back(describePin(*pin));
    json["properties"] = ordered_json::array();
    for (const Core::AbstractProperty* property : filter.getPropertyBag().getProperties())
        json["properties"].push_back(describeProperty(*property));
    return json;
}

void printPlugins(std::ostream& out, const ordered_json& description) {
    for (const auto& plugin : description["plugins"]) {
        out << plugin["name"].get<std::string>() << ' ' << plugin["version"].get<std::string>() << ": "
            << plugin["description"].get<std::string>() << '\n';
        for (const auto& type : plugin["types"]) out << "  " << type.get<std::string>() << '\n';
    }
}

void printType(std::ostream& out, const ordered_json& description) {
    out << description["type"].get<std::string>() << " of " << description["plugin"].get<std::string>()
        << '\n';
    printList(out, "pins", description["pins"], [](const ordered_json& pin) {
        return pin["direction"].get<std::string>() + (pin["direction"] == "input" ? "   " : "  ") +
               carried(pin);
    });
    printList(out, "properties", description["properties"], [](const ordered_json& property) {
        return property["kind"].get<std::string>() + remarks(property);
    });
}

}  // namespace Kavelin::Cli
