#include "cli/layout/ObjectReader.h"

#include <algorithm>
#include <limits>

#include "cli/layout/NearestNames.h"
#include "cli/layout/PropertyValue.h"

namespace Kavelin::Cli {

namespace {

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

const char* expected(LayoutValue value) {
    switch (value) {
        case LayoutValue::text:
            return "a text";
        case LayoutValue::name:
            return "a text that is not empty";
        case LayoutValue::number:
            return "a number";
        case LayoutValue::bufferSize:
            return "a whole number from 0 to 4294967295";
        case LayoutValue::order:
            return "\"fifo\" or \"lifo\"";
        case LayoutValue::boolean:
            return "true or false";
        case LayoutValue::texts:
            return "an array of texts";
        case LayoutValue::textsByName:
            return "an object of texts by name";
        case LayoutValue::objects:
            return "an array of objects";
        case LayoutValue::valuesByName:
            return "an object of values by name";
        case LayoutValue::value:
            return "a text, a number, a boolean or a matrix";
    }
    return "";
}

/// What stands there, with the value where that is short.
std::string given(const JsonNode& node) {
    constexpr std::size_t kShort = 40;
    if (node.text.size() > kShort) return describe(node.kind);
    if (node.kind == JsonNode::Kind::text) return "\"" + node.text + "\"";
    if (node.kind == JsonNode::Kind::number) return node.text;
    if (node.kind == JsonNode::Kind::boolean) return node.boolean ? "true" : "false";
    return describe(node.kind);
}

std::string toText(const Place& place) {
    return std::to_string(place.line) + ":" + std::to_string(place.column);
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
        const auto first =
            std::find_if(node_.keys.begin(), node_.keys.end(),
                         [&wanted = name](const JsonNode::Key& key) { return key.name == wanted; });
        const LayoutKey* row = findKey(object_, name);
        if (row == nullptr) {
            mistakes_.push_back({place, "unknown key " + inQuotes(name) + " in " + withArticle(object_) +
                                            suggestion(name, "it takes", known)});
        } else if (first != node_.keys.begin() + static_cast<std::ptrdiff_t>(i)) {
            mistakes_.push_back({place, inQuotes(name) + " stands twice in " + withArticle(object_) +
                                            "; the first is at " + toText(first->place)});
        } else if (!isOfType(value, row->value)) {
            mistakes_.push_back({value.place, inQuotes(name) + " of " + withArticle(object_) + " takes " +
                                                  expected(row->value) + "; this is " + given(value)});
        }
    }
}

void ObjectReader::checkMissing() {
    for (const LayoutKey& row : kLayoutKeys)
        if (row.object == object_ && row.required && !has(row.key))
            mistakes_.push_back({node_.place, withArticle(object_) + " needs " + inQuotes(row.key) + ": " +
                                                  expected(row.value)});
}

const JsonNode* ObjectReader::find(std::string_view key) const {
    const LayoutKey* row = findKey(object_, key);
    for (std::size_t i = 0; i < node_.keys.size(); ++i)
        if (node_.keys[i].name == key)
            return isOfType(node_.items[i], row->value) ? &node_.items[i] : nullptr;
    return nullptr;
}

bool ObjectReader::has(std::string_view key) const {
    return std::any_of(node_.keys.begin(), node_.keys.end(),
                       [&](const JsonNode::Key& k) { return k.name == key; });
}

std::string withArticle(std::string_view object) {
    const bool vowel =
        !object.empty() && std::string_view("aeiou").find(object.front()) != std::string_view::npos;
    return (vowel ? "an " : "a ") + std::string(object);
}

bool isOfType(const JsonNode& node, LayoutValue value) {
    using Kind = JsonNode::Kind;
    switch (value) {
        case LayoutValue::text:
            return node.kind == Kind::text;
        case LayoutValue::name:
            return node.kind == Kind::text && !node.text.empty();
        case LayoutValue::number:
            return node.kind == Kind::number;
        case LayoutValue::bufferSize:
            return node.kind == Kind::number && isWhole(node.number) && node.number >= 0.0 &&
                   node.number <= std::numeric_limits<unsigned>::max();
        case LayoutValue::order:
            return node.kind == Kind::text && (node.text == "fifo" || node.text == "lifo");
        case LayoutValue::boolean:
            return node.kind == Kind::boolean;
        case LayoutValue::texts:
        case LayoutValue::objects:
            return node.kind == Kind::array;
        case LayoutValue::textsByName:
        case LayoutValue::valuesByName:
            return node.kind == Kind::object;
        case LayoutValue::value:
            return node.kind != Kind::null && node.kind != Kind::object;
    }
    return false;
}

}  // namespace Kavelin::Cli
