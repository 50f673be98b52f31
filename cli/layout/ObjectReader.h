#pragma once

#include <string>
#include <string_view>

#include "cli/layout/JsonTree.h"
#include "cli/layout/LayoutKeys.h"

namespace Kavelin::Cli {

/// Checks one object of a layout file against the table of its keys. Construction adds to `mistakes`: not an
/// object at all, keys unknown, given twice or missing, values of the wrong type.
class ObjectReader {
public:
    /// @param object one of LayoutObject. `node` and `mistakes` outlive the reader.
    ObjectReader(const JsonNode& node, std::string_view object, Mistakes& mistakes);

    bool isObject() const { return node_.kind == JsonNode::Kind::object; }
    const Place& place() const { return node_.place; }

    /// @return the value of `key`, or null where it is absent or of the wrong type.
    const JsonNode* find(std::string_view key) const;

    /// Whether `key` stands there at all, of whatever type.
    bool has(std::string_view key) const;

private:
    void checkKeys();
    void checkMissing();

    const JsonNode& node_;
    std::string_view object_;
    Mistakes& mistakes_;
};

/// @return "a filter", "an action", ... for one of LayoutObject.
std::string withArticle(std::string_view object);

/// Whether `node` is what `value` asks for. Elements of arrays and members of objects are not looked at.
bool isOfType(const JsonNode& node, LayoutValue value);

}  // namespace Kavelin::Cli
