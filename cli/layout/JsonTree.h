#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/layout/Mistake.h"

namespace Kavelin::Cli {

/// A JSON value that remembers where it stands. Members keep their order and may share a key.
struct JsonNode {
    enum class Kind { null, boolean, number, text, array, object };
    struct Key {
        std::string name;
        Place place;
    };

    Kind kind = Kind::null;
    Place place;
    bool boolean = false;
    double number = 0.0;
    std::string text;             ///< of a text: its characters; of a number: as it was written
    std::vector<JsonNode> items;  ///< elements of an array, or member values of an object
    std::vector<Key> keys;        ///< of an object: one for each item
};

/// Values nested deeper than this are refused, so that no text exhausts the stack.
inline constexpr int kDeepestNesting = 64;

/// Reads one JSON text (RFC 8259, no comments).
/// @return false after adding the first syntax error to `mistakes`;
/// the contents of `root` are then meaningless.
bool parseJson(std::string_view text, JsonNode& root, Mistakes& mistakes);

/// @return "a text", "an object", ... as messages name what stands there.
const char* describe(JsonNode::Kind kind);

}  // namespace Kavelin::Cli
