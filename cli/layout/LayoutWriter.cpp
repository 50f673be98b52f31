#include "cli/layout/LayoutWriter.h"

#include "cli/JsonForms.h"

namespace Kavelin::Cli {

namespace {

constexpr std::size_t kLongestLine = 100;

std::string indented(const std::string& text) {
    std::string result;
    for (const char c : text) {
        result += c;
        if (c == '\n') result += "  ";
    }
    return result;
}

/// Parts between brackets: on one line where they fit, on a line each where not.
std::string enclose(char open, const std::vector<std::string>& parts, char close) {
    std::size_t length = 0;
    bool broken = false;
    for (const std::string& part : parts) {
        length += part.size() + 2;
        broken = broken || part.find('\n') != std::string::npos;
    }
    const bool lines = broken || length > kLongestLine;
    std::string text(1, open);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i != 0) text += lines ? "," : ", ";
        text += lines ? "\n  " + indented(parts[i]) : parts[i];
    }
    if (lines) text += '\n';
    return text + close;
}

std::string quote(const std::string& text) {
    std::string result;
    appendText(result, text);
    return result;
}

std::string member(const std::string& key, const std::string& value) { return quote(key) + ": " + value; }
std::string textMember(const std::string& key, const std::string& value) { return member(key, quote(value)); }

std::string texts(const std::vector<PlacedText>& entries) {
    std::vector<std::string> parts;
    for (const PlacedText& entry : entries) parts.push_back(quote(entry.text));
    return enclose('[', parts, ']');
}

std::string filterText(const FilterEntry& filter) {
    std::vector<std::string> parts{textMember("name", filter.name.text),
                                   textMember("type", filter.type.text)};
    std::vector<std::string> properties;
    for (const PropertyEntry& property : filter.properties)
        properties.push_back(member(property.name.text, jsonForm(property.value)));
    if (!properties.empty()) parts.push_back(member("properties", enclose('{', properties, '}')));
    if (!filter.commands.empty()) parts.push_back(member("commands", texts(filter.commands)));
    return enclose('{', parts, '}');
}

std::string layoutText(const LayoutEntry& layout) {
    std::vector<std::string> filters;
    for (const FilterEntry& filter : layout.filters) filters.push_back(filterText(filter));
    return enclose('{', {textMember("name", layout.name.text), member("filters", enclose('[', filters, ']'))},
                   '}');
}

std::string targetText(const Target& target) { return target.filter + ":" + target.element; }

std::string connectionText(const ConnectionEntry& connection) {
    std::vector<std::string> parts{textMember("from", targetText(connection.from)),
                                   textMember("to", targetText(connection.to))};
    if (connection.bufferSize != kDefaultBufferSize)
        parts.push_back(member("buffer", std::to_string(connection.bufferSize)));
    if (connection.lifo) parts.push_back(textMember("order", "lifo"));
    if (connection.synchronous) parts.push_back(member("synchronous", "true"));
    return enclose('{', parts, '}');
}

std::string actionText(const ActionEntry& action) {
    const bool set = action.kind == ActionEntry::Kind::set;
    std::string at;
    appendNumber(at, action.at);
    std::vector<std::string> parts{member("at", at),
                                   textMember(set ? "set" : "command", targetText(action.target))};
    if (action.value) parts.push_back(member("value", jsonForm(*action.value)));
    return enclose('{', parts, '}');
}

std::string lineText(const PlotLine& line) {
    std::vector<std::string> parts{textMember("from", targetText(line.from))};
    if (line.isNorm) parts.push_back(textMember("element", "norm"));
    if (line.element > 0) parts.push_back(member("element", std::to_string(line.element)));
    if (!line.label.empty()) parts.push_back(textMember("label", line.label));
    return enclose('{', parts, '}');
}

template <class Entry>
std::string array(const std::vector<Entry>& entries, std::string (*toText)(const Entry&)) {
    std::vector<std::string> parts;
    for (const Entry& entry : entries) parts.push_back(toText(entry));
    return enclose('[', parts, ']');
}

std::string panelText(const PlotPanel& panel) {
    std::vector<std::string> parts;
    if (!panel.label.empty()) parts.push_back(textMember("label", panel.label));
    parts.push_back(member("lines", array(panel.lines, &lineText)));
    if (panel.range) {
        std::string range = "[";
        appendNumber(range, panel.range->first);
        appendNumber(range += ", ", panel.range->second);
        parts.push_back(member("range", range + "]"));
    }
    return enclose('{', parts, '}');
}

}  // namespace

std::string writeLayout(const LayoutFile& layout) {
    std::vector<std::string> parts;
    if (!layout.schema.empty()) parts.push_back(textMember("$schema", layout.schema));
    if (!layout.description.empty()) parts.push_back(textMember("description", layout.description));
    if (layout.plugins) parts.push_back(member("plugins", texts(*layout.plugins)));
    std::vector<std::string> variables;
    for (const VariableEntry& variable : layout.variables)
        variables.push_back(textMember(variable.name.text, variable.value.text));
    if (!variables.empty()) parts.push_back(member("variables", enclose('{', variables, '}')));
    parts.push_back(member("layouts", array(layout.layouts, &layoutText)));
    if (!layout.connections.empty())
        parts.push_back(member("connections", array(layout.connections, &connectionText)));
    if (!layout.actions.empty()) parts.push_back(member("actions", array(layout.actions, &actionText)));
    if (!layout.plot.empty()) parts.push_back(member("plot", array(layout.plot, &panelText)));
    return enclose('{', parts, '}') + "\n";
}

}  // namespace Kavelin::Cli
