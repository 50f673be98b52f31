#include "cli/layout/ObjectReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "cli/layout/NearestNames.h"
#include "cli/layout/PropertyValue.h"

namespace Kavelin::Cli {

namespace {

using Kind = JsonNode::Kind;

const LayoutKey* findKey(std::string_view object, std::string_view key) {
    const auto found = std::find_if(kLayoutKeys.begin(), kLayoutKeys.end(), [&](const LayoutKey& row) {
        return row.object == object && row.key == key;
    });
    return found == kLayoutKeys.end() ? nullptr : &*found;
}

std::vector<std::string> keysOf(std::string_view object) {
    std::vector<std::string> keys;
    for (const LayoutKey& row : kLayoutKeys)
        if (row.object == object) keys.emplace_back(row.key);
    return keys;
}

bool isBufferSize(const JsonNode& node) {
    return node.kind == Kind::number && isWhole(node.number) && node.number >= 0.0 &&
           node.number <= std::numeric_limits<unsigned>::max();
}

bool isElement(const JsonNode& node) {
    if (node.kind == Kind::text) return node.text == "norm";
    return isBufferSize(node) && node.number >= 1.0;
}

bool isRange(const JsonNode& node) {
    const auto& ends = node.items;
    return node.kind == Kind::array && ends.size() == 2 && ends[0].kind == Kind::number &&
           ends[1].kind == Kind::number && ends[0].number < ends[1].number;
}

template <Kind kind>
bool is(const JsonNode& node) {
    return node.kind == kind;
}

struct Form {
    const char* expected;
    bool (*isMet)(const JsonNode&);
};
/// In the order of LayoutValue.
constexpr Form kForms[] = {
    {"a text", is<Kind::text>},
    {"a text that is not empty", [](const JsonNode& n) { return is<Kind::text>(n) && !n.text.empty(); }},
    {"a number", is<Kind::number>},
    {"a whole number from 0 to 4294967295", isBufferSize},
    {"\"fifo\" or \"lifo\"",
     [](const JsonNode& n) { return is<Kind::text>(n) && (n.text == "fifo" || n.text == "lifo"); }},
    {"true or false", is<Kind::boolean>},
    {"an array of texts", is<Kind::array>},
    {"an object of texts by name", is<Kind::object>},
    {"an array of objects", is<Kind::array>},
    {"an object of values by name", is<Kind::object>},
    {"a whole number from 1, or \"norm\"", isElement},
    {"two numbers, the lower one first", isRange},
    {"a text, a number, a boolean or a matrix",
     [](const JsonNode& n) { return !is<Kind::null>(n) && !is<Kind::object>(n); }},
};
static_assert(std::size(kForms) == static_cast<std::size_t>(LayoutValue::value) + 1);

const Form& formOf(LayoutValue value) { return kForms[static_cast<std::size_t>(value)]; }

/// What stands there, with the value where that is short.
std::string given(const JsonNode& node) {
    constexpr std::size_t kShort = 40;
    if (node.text.size() > kShort) return describe(node.kind);
    if (node.kind == Kind::text) return "\"" + node.text + "\"";
    if (node.kind == Kind::number) return node.text;
    if (node.kind == Kind::boolean) return node.boolean ? "true" : "false";
    return describe(node.kind);
}

}  // namespace

ObjectReader::ObjectReader(const JsonNode& node, std::string_view object, Mistakes& mistakes)
    : node_(node), object_(object), mistakes_(mistakes) {
    if (!isObject()) {
        mistakes_.push_back(
            {node.place, withArticle(object) + " is an object {...}; this is " + describe(node.kind)});
        return;
    }
    checkKeys();
    checkMissing();
}

void ObjectReader::checkKeys() {
    const std::vector<std::string> known = keysOf(object_);
    for (std::size_t i = 0; i < node_.keys.size(); ++i) {
        const auto& [name, place] = node_.keys[i];
        const JsonNode& value = node_.items[i];
        const auto first = std::ranges::find(node_.keys, name, &JsonNode::Key::name);
        const LayoutKey* row = findKey(object_, name);
        const std::string object = withArticle(object_);
        if (row == nullptr) {
            mistakes_.push_back({place, fmt::format("unknown key \"{}\" in {}{}", name, object,
                                                    suggestion(name, "it takes", known))});
        } else if (first != node_.keys.begin() + static_cast<std::ptrdiff_t>(i)) {
            mistakes_.push_back({place, fmt::format("\"{}\" stands twice in {}; the first is at {}:{}", name,
                                                    object, first->place.line, first->place.column)});
        } else if (!isOfType(value, row->value)) {
            mistakes_.push_back({value.place, fmt::format("\"{}\" of {} takes {}; this is {}", name, object,
                                                          formOf(row->value).expected, given(value))});
        }
    }
}

void ObjectReader::checkMissing() {
    for (const LayoutKey& row : kLayoutKeys)
        if (row.object == object_ && row.required && !has(row.key))
            mistakes_.push_back({node_.place, withArticle(object_) + " needs " + inQuotes(row.key) + ": " +
                                                  formOf(row.value).expected});
}

const JsonNode* ObjectReader::find(std::string_view key) const {
    const LayoutKey* row = findKey(object_, key);
    for (std::size_t i = 0; i < node_.keys.size(); ++i)
        if (node_.keys[i].name == key)
            return isOfType(node_.items[i], row->value) ? &node_.items[i] : nullptr;
    return nullptr;
}

bool ObjectReader::has(std::string_view key) const {
    return std::ranges::find(node_.keys, key, &JsonNode::Key::name) != node_.keys.end();
}

std::string withArticle(std::string_view object) {
    const bool vowel =
        !object.empty() && std::string_view("aeiou").find(object.front()) != std::string_view::npos;
    return (vowel ? "an " : "a ") + std::string(object);
}

bool isOfType(const JsonNode& node, LayoutValue value) { return formOf(value).isMet(node); }

}  // namespace Kavelin::Cli
