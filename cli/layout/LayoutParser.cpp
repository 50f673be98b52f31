#include <set>

#include "cli/layout/LayoutFile.h"
#include "cli/layout/NearestNames.h"
#include "cli/layout/ObjectReader.h"

namespace Kavelin::Cli {

namespace {

PlacedText textOf(const ObjectReader& object, std::string_view key) {
    const JsonNode* node = object.find(key);
    return node ? PlacedText{node->text, node->place} : PlacedText{{}, object.place()};
}

std::string stringOf(const ObjectReader& object, std::string_view key) { return textOf(object, key).text; }

/// Reads the values of one layout file, in the order in which they stand there.
class LayoutParser {
public:
    explicit LayoutParser(Mistakes& mistakes) : mistakes_(mistakes) {}

    LayoutFile parse(const JsonNode& root);

private:
    std::vector<PlacedText> texts(const ObjectReader& object, std::string_view key, const char* what);
    std::vector<VariableEntry> variables(const ObjectReader& file);
    LayoutEntry layout(const JsonNode& node);
    FilterEntry filter(const JsonNode& node);
    std::vector<PropertyEntry> properties(const ObjectReader& filter);
    ConnectionEntry connection(const JsonNode& node);
    ActionEntry action(const JsonNode& node);
    PlotPanel panel(const JsonNode& node);
    PlotLine line(const JsonNode& node);
    Target target(const ObjectReader& object, std::string_view key, const char* form);

    template <class Entry>
    std::vector<Entry> entries(const ObjectReader& object, std::string_view key,
                               Entry (LayoutParser::*read)(const JsonNode&));
    void uniqueKeys(const JsonNode& node, const char* what);
    void say(const Place& place, std::string text) { mistakes_.push_back({place, std::move(text)}); }

    Mistakes& mistakes_;
};

/// Checks across the entries of a file: names must be unique, references must name something.
class ReferenceCheck {
public:
    ReferenceCheck(const LayoutFile& file, Mistakes& mistakes) : file_(file), mistakes_(mistakes) {}

    void run() {
        names();
        for (const ConnectionEntry& connection : file_.connections) {
            leadsToFilter(connection.from);
            leadsToFilter(connection.to);
        }
        oneSourceEach();
        for (const ActionEntry& action : file_.actions) leadsToFilter(action.target);
        for (const PlotPanel& panel : file_.plot)
            for (const PlotLine& line : panel.lines) leadsToFilter(line.from);
    }

private:
    void names();
    void unique(std::set<std::string>& seen, const PlacedText& name, const char* what, const char* scope);
    void leadsToFilter(const Target& target);
    void oneSourceEach();
    void say(const Place& place, std::string text) { mistakes_.push_back({place, std::move(text)}); }

    const LayoutFile& file_;
    Mistakes& mistakes_;
};

template <class Entry>
std::vector<Entry> LayoutParser::entries(const ObjectReader& object, std::string_view key,
                                         Entry (LayoutParser::*read)(const JsonNode&)) {
    std::vector<Entry> result;
    if (const JsonNode* node = object.find(key))
        for (const JsonNode& item : node->items) result.push_back((this->*read)(item));
    return result;
}

void LayoutParser::uniqueKeys(const JsonNode& node, const char* what) {
    std::set<std::string> seen;
    for (const JsonNode::Key& key : node.keys)
        if (!seen.insert(key.name).second)
            say(key.place, std::string(what) + " " + inQuotes(key.name) + " is given twice");
}

LayoutFile LayoutParser::parse(const JsonNode& root) {
    LayoutFile file;
    const ObjectReader object(root, LayoutObject::kFile, mistakes_);
    file.schema = stringOf(object, "$schema");
    file.description = stringOf(object, "description");
    if (object.find("plugins") != nullptr) file.plugins = texts(object, "plugins", "a plugin");
    file.variables = variables(object);
    file.layouts = entries(object, "layouts", &LayoutParser::layout);
    file.connections = entries(object, "connections", &LayoutParser::connection);
    file.actions = entries(object, "actions", &LayoutParser::action);
    file.plot = entries(object, "plot", &LayoutParser::panel);
    return file;
}

std::vector<PlacedText> LayoutParser::texts(const ObjectReader& object, std::string_view key,
                                            const char* what) {
    std::vector<PlacedText> result;
    const JsonNode* node = object.find(key);
    if (node == nullptr) return result;
    for (const JsonNode& item : node->items) {
        if (item.kind == JsonNode::Kind::text)
            result.push_back({item.text, item.place});
        else
            say(item.place,
                std::string(what) + " is given by its name, a text; this is " + describe(item.kind));
    }
    return result;
}

std::vector<VariableEntry> LayoutParser::variables(const ObjectReader& file) {
    std::vector<VariableEntry> result;
    const JsonNode* node = file.find("variables");
    if (node == nullptr) return result;
    uniqueKeys(*node, "variable");
    for (std::size_t i = 0; i < node->items.size(); ++i) {
        const JsonNode& value = node->items[i];
        const auto& [name, place] = node->keys[i];
        if (value.kind == JsonNode::Kind::text)
            result.push_back({{name, place}, {value.text, value.place}});
        else
            say(value.place,
                "the value of variable " + inQuotes(name) + " is a text; this is " + describe(value.kind));
    }
    return result;
}

LayoutEntry LayoutParser::layout(const JsonNode& node) {
    const ObjectReader object(node, LayoutObject::kLayout, mistakes_);
    return {textOf(object, "name"), entries(object, "filters", &LayoutParser::filter)};
}

FilterEntry LayoutParser::filter(const JsonNode& node) {
    const ObjectReader object(node, LayoutObject::kFilter, mistakes_);
    FilterEntry entry{textOf(object, "name"), textOf(object, "type"), {}, {}};
    if (entry.name.text.find(':') != std::string::npos)
        say(entry.name.place, "filter name " + inQuotes(entry.name.text) +
                                  " has a colon, which parts filter and pin in \"filter:pin\"; leave it out");
    entry.properties = properties(object);
    entry.commands = texts(object, "commands", "a command");
    return entry;
}

std::vector<PropertyEntry> LayoutParser::properties(const ObjectReader& filter) {
    std::vector<PropertyEntry> result;
    const JsonNode* node = filter.find("properties");
    if (node == nullptr) return result;
    uniqueKeys(*node, "property");
    for (std::size_t i = 0; i < node->items.size(); ++i) {
        PropertyEntry entry{{node->keys[i].name, node->keys[i].place}, {}};
        if (readPropertyValue(node->items[i], entry.value, mistakes_)) result.push_back(std::move(entry));
    }
    return result;
}

Target LayoutParser::target(const ObjectReader& object, std::string_view key, const char* form) {
    const PlacedText text = textOf(object, key);
    Target result{{}, {}, text.place};
    if (object.find(key) != nullptr && !splitTarget(text.text, result))
        say(text.place, inQuotes(key) + " takes the form " + form + "; this is " + inQuotes(text.text));
    return result;
}

ConnectionEntry LayoutParser::connection(const JsonNode& node) {
    const ObjectReader object(node, LayoutObject::kConnection, mistakes_);
    ConnectionEntry entry;
    entry.place = node.place;
    entry.from = target(object, "from", "\"filter:pin\"");
    entry.to = target(object, "to", "\"filter:pin\"");
    if (const JsonNode* buffer = object.find("buffer"))
        entry.bufferSize = static_cast<unsigned>(buffer->number);
    entry.lifo = stringOf(object, "order") == "lifo";
    if (const JsonNode* synchronous = object.find("synchronous")) entry.synchronous = synchronous->boolean;
    return entry;
}

ActionEntry LayoutParser::action(const JsonNode& node) {
    const ObjectReader object(node, LayoutObject::kAction, mistakes_);
    ActionEntry entry;
    entry.place = node.place;
    if (const JsonNode* at = object.find("at")) entry.at = at->number;
    const bool command = object.has("command"), set = object.has("set");
    if (object.isObject() && command == set)
        say(node.place, std::string("an action has either \"command\" or \"set\" with \"value\"; this has ") +
                            (set ? "both" : "neither"));
    if (set) {
        entry.kind = ActionEntry::Kind::set;
        entry.target = target(object, "set", "\"filter:property\"");
        PropertyValue value;
        if (const JsonNode* given = object.find("value")) {
            if (readPropertyValue(*given, value, mistakes_)) entry.value = std::move(value);
        } else if (!object.has("value")) {
            say(node.place, "an action with \"set\" needs \"value\"");
        }
    } else {
        entry.target = target(object, "command", "\"filter:command\"");
        if (command && object.has("value"))
            say(node.place,
                "an action with \"command\" has no \"value\"; a property is written with \"set\"");
    }
    return entry;
}

PlotPanel LayoutParser::panel(const JsonNode& node) {
    const ObjectReader object(node, LayoutObject::kPanel, mistakes_);
    PlotPanel panel{stringOf(object, "label"), entries(object, "lines", &LayoutParser::line), {}, node.place};
    if (const JsonNode* lines = object.find("lines"); lines && lines->items.empty())
        say(lines->place, "a panel has at least one line");
    if (const JsonNode* range = object.find("range"))
        panel.range = {range->items[0].number, range->items[1].number};
    return panel;
}

PlotLine LayoutParser::line(const JsonNode& node) {
    const ObjectReader object(node, LayoutObject::kLine, mistakes_);
    PlotLine line{.from = target(object, "from", "\"filter:pin\""), .label = stringOf(object, "label")};
    if (const JsonNode* element = object.find("element")) {
        line.isNorm = element->kind == JsonNode::Kind::text;
        if (!line.isNorm) line.element = static_cast<unsigned>(element->number);
    }
    return line;
}

void ReferenceCheck::unique(std::set<std::string>& seen, const PlacedText& name, const char* what,
                            const char* scope) {
    if (name.text.empty()) return;
    if (!seen.insert(name.text).second)
        say(name.place, std::string(what) + " " + inQuotes(name.text) + " is given twice; " + scope);
}

void ReferenceCheck::names() {
    std::set<std::string> plugins, layouts, filters;
    if (file_.plugins)
        for (const PlacedText& plugin : *file_.plugins) unique(plugins, plugin, "plugin", "once is enough");
    for (const LayoutEntry& layout : file_.layouts) {
        unique(layouts, layout.name, "layout name", "each layout has its own");
        for (const FilterEntry& filter : layout.filters)
            unique(filters, filter.name, "filter name", "names are unique over all layouts of a file");
    }
}

void ReferenceCheck::leadsToFilter(const Target& target) {
    if (target.filter.empty() || file_.findFilter(target.filter) != nullptr) return;
    say(target.place, noSuch("filter", target.filter, file_.filterNames()));
}

void ReferenceCheck::oneSourceEach() {
    std::set<std::pair<std::string, std::string>> fed;
    for (const ConnectionEntry& connection : file_.connections) {
        const Target& to = connection.to;
        if (to.filter.empty() || fed.insert({to.filter, to.element}).second) continue;
        say(to.place, "input " + inQuotes(to.filter + ":" + to.element) +
                          " has a source already; an input takes one connection");
    }
}

}  // namespace

LayoutFile parseLayout(std::string_view text, Mistakes& mistakes) {
    JsonNode root;
    if (!parseJson(text, root, mistakes)) return {};
    LayoutFile file = LayoutParser(mistakes).parse(root);
    ReferenceCheck(file, mistakes).run();
    sortByPlace(mistakes);
    return file;
}

}  // namespace Kavelin::Cli
