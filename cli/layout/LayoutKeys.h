#pragma once

#include <array>
#include <string_view>

namespace Kavelin::Cli {

/// The objects that a layout file is made of, by the names that messages and the JSON Schema give them.
namespace LayoutObject {
inline constexpr std::string_view kFile = "layout file", kLayout = "layout", kFilter = "filter",
                                  kConnection = "connection", kAction = "action", kPanel = "panel",
                                  kLine = "line";
}

/// What a key's value must be.
enum class LayoutValue {
    text,
    name,
    number,
    bufferSize,
    order,
    boolean,
    texts,
    textsByName,
    objects,
    valuesByName,
    element,
    range,
    value
};

/// One key that an object of a layout file may have.
struct LayoutKey {
    std::string_view object;
    std::string_view key;
    LayoutValue value;
    bool required = false;
};

/// All that a layout file may hold; docs/layout.schema.json says the same to editors.
inline constexpr std::array kLayoutKeys = {
    LayoutKey{LayoutObject::kFile, "$schema", LayoutValue::text},
    LayoutKey{LayoutObject::kFile, "description", LayoutValue::text},
    LayoutKey{LayoutObject::kFile, "plugins", LayoutValue::texts},
    LayoutKey{LayoutObject::kFile, "variables", LayoutValue::textsByName},
    LayoutKey{LayoutObject::kFile, "layouts", LayoutValue::objects, true},
    LayoutKey{LayoutObject::kFile, "connections", LayoutValue::objects},
    LayoutKey{LayoutObject::kFile, "actions", LayoutValue::objects},
    LayoutKey{LayoutObject::kFile, "plot", LayoutValue::objects},
    LayoutKey{LayoutObject::kLayout, "name", LayoutValue::name, true},
    LayoutKey{LayoutObject::kLayout, "filters", LayoutValue::objects, true},
    LayoutKey{LayoutObject::kFilter, "name", LayoutValue::name, true},
    LayoutKey{LayoutObject::kFilter, "type", LayoutValue::name, true},
    LayoutKey{LayoutObject::kFilter, "properties", LayoutValue::valuesByName},
    LayoutKey{LayoutObject::kFilter, "commands", LayoutValue::texts},
    LayoutKey{LayoutObject::kConnection, "from", LayoutValue::text, true},
    LayoutKey{LayoutObject::kConnection, "to", LayoutValue::text, true},
    LayoutKey{LayoutObject::kConnection, "buffer", LayoutValue::bufferSize},
    LayoutKey{LayoutObject::kConnection, "order", LayoutValue::order},
    LayoutKey{LayoutObject::kConnection, "synchronous", LayoutValue::boolean},
    LayoutKey{LayoutObject::kAction, "at", LayoutValue::number, true},
    LayoutKey{LayoutObject::kAction, "command", LayoutValue::text},
    LayoutKey{LayoutObject::kAction, "set", LayoutValue::text},
    LayoutKey{LayoutObject::kAction, "value", LayoutValue::value},
    LayoutKey{LayoutObject::kPanel, "lines", LayoutValue::objects, true},
    LayoutKey{LayoutObject::kPanel, "label", LayoutValue::text},
    LayoutKey{LayoutObject::kPanel, "range", LayoutValue::range},
    LayoutKey{LayoutObject::kLine, "from", LayoutValue::text, true},
    LayoutKey{LayoutObject::kLine, "element", LayoutValue::element},
    LayoutKey{LayoutObject::kLine, "label", LayoutValue::text},
};

}  // namespace Kavelin::Cli
