#include "cli/ScriptFormat.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>

#include "cli/CommandContext.h"
#include "cli/JsonForms.h"
#include "cli/layout/Mistake.h"

namespace Kavelin::Cli {
namespace {

using nlohmann::json;

constexpr const char* kKinds = R"("pin", "property", "command", "process", "query" or "buffer")";

const json& member(const json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end()) throw UsageError(inQuotes(key) + " is missing");
    return *found;
}

std::string text(const json& object, const char* key) {
    const json& value = member(object, key);
    if (!value.is_string()) throw UsageError(inQuotes(key) + " must be a text");
    return value.get<std::string>();
}

std::uint64_t count(const json& object, const char* key, std::uint64_t maximum) {
    const json& value = member(object, key);
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > maximum)
        throw UsageError(inQuotes(key) + " must be a whole number from 0 to " + std::to_string(maximum));
    return value.get<std::uint64_t>();
}

bool lastInFirstOut(const json& object) {
    const std::string order = text(object, "order");
    if (order != "fifo" && order != "lifo") throw UsageError(R"("order" must be "fifo" or "lifo")");
    return order == "lifo";
}

void allowOnly(const json& object, std::initializer_list<std::string_view> keys) {
    for (const auto& [key, value] : object.items()) {
        if (std::find(keys.begin(), keys.end(), key) != keys.end()) continue;
        throw UsageError(
            fmt::format("unknown key \"{}\"; this kind of line has \"{}\"", key, fmt::join(keys, "\", \"")));
    }
}

ScriptLine sampleLine(const json& object) {
    allowOnly(object, {"pin", "t", "value"});
    return SampleLine{text(object, "pin"), numberFromJson(member(object, "t"), "\"t\""),
                      matrixFromJson(member(object, "value"), "\"value\"")};
}

ScriptLine propertyLine(const json& object) {
    allowOnly(object, {"property", "value"});
    return PropertyLine{text(object, "property"), text(object, "value")};
}

ScriptLine commandLine(const json& object) {
    allowOnly(object, {"command"});
    return CommandLine{text(object, "command")};
}

ScriptLine processLine(const json& object) {
    allowOnly(object, {"process"});
    return ProcessLine{count(object, "process", std::numeric_limits<std::uint64_t>::max())};
}

ScriptLine queryLine(const json& object) {
    allowOnly(object, {"query"});
    return QueryLine{text(object, "query")};
}

ScriptLine bufferLine(const json& object) {
    allowOnly(object, {"buffer", "size", "order"});
    const auto size = count(object, "size", std::numeric_limits<unsigned>::max());
    return BufferLine{text(object, "buffer"), static_cast<unsigned>(size), lastInFirstOut(object)};
}

struct Kind {
    const char* key;
    ScriptLine (*read)(const json& object);
};
constexpr std::array<Kind, 6> kKindTable{{{"pin", sampleLine},
                                          {"property", propertyLine},
                                          {"command", commandLine},
                                          {"process", processLine},
                                          {"query", queryLine},
                                          {"buffer", bufferLine}}};

json parseObject(std::string_view line) {
    json object;
    try {
        object = json::parse(line);
    } catch (const json::exception& error) {
        const std::string_view what = error.what();
        const auto prefix =
            what.find("] ");  // the library's own tag, e.g. "[json.exception.parse_error.101] "
        throw UsageError("no JSON object: " + std::string(what.substr(prefix == what.npos ? 0 : prefix + 2)));
    }
    if (!object.is_object()) throw UsageError(std::string("a line is a JSON object with the key ") + kKinds);
    return object;
}

std::string textsLine(const char* key, std::string_view text, const char* otherKey, std::string_view other) {
    std::string out = fmt::format("{{\"{}\": ", key);
    appendText(out, text);
    out += fmt::format(", \"{}\": ", otherKey);
    appendText(out, other);
    return out += "}\n";
}

}  // namespace

std::optional<ScriptLine> parseScriptLine(std::string_view line) {
    if (line.find_first_not_of(" \t\r") == line.npos || line.front() == '#') return std::nullopt;
    const json object = parseObject(line);
    for (const Kind& kind : kKindTable)
        if (object.contains(kind.key)) return kind.read(object);
    throw UsageError(std::string("a line has one of the keys ") + kKinds);
}

std::string sampleText(std::string_view pin, double t, const Core::Matrix& value) {
    std::string out = "{\"pin\": ";
    appendText(out, pin);
    out += ", \"t\": ";
    appendNumber(out, t);
    out += ", \"value\": ";
    appendMatrix(out, value);
    return out += "}\n";
}

std::string propertyText(std::string_view property, std::string_view value) {
    return textsLine("property", property, "value", value);
}

std::string errorText(std::string_view errorClass, std::string_view message) {
    return textsLine("error", errorClass, "message", message);
}

}  // namespace Kavelin::Cli
