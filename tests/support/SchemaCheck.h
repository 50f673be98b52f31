#pragma once

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>

namespace Kavelin::Tests {

/// The keywords that our schemas use, as JSON Schema 2020-12 means them.
class SchemaCheck {
public:
    using json = nlohmann::json;
    explicit SchemaCheck(const json& root) : root_(root) {}

    bool accepts(const json& rule, const json& value) const {
        if (rule.is_boolean()) return rule.get<bool>();
        const auto either = [&](const char* keyword) {
            return std::count_if(rule[keyword].begin(), rule[keyword].end(),
                                 [&](const json& r) { return accepts(r, value); });
        };
        if (rule.contains("$ref") &&
            !accepts(root_.at(json::json_pointer(rule["$ref"].get<std::string>().substr(1))), value))
            return false;
        if (rule.contains("type") && !isOneOf(rule["type"], value)) return false;
        if (rule.contains("const") && rule["const"] != value) return false;
        if (rule.contains("enum") && std::count(rule["enum"].begin(), rule["enum"].end(), value) == 0)
            return false;
        if (rule.contains("anyOf") && either("anyOf") == 0) return false;
        if (rule.contains("oneOf") && either("oneOf") != 1) return false;
        if (rule.contains("not") && accepts(rule["not"], value)) return false;
        if (value.is_number() && !acceptsNumber(rule, value.get<double>())) return false;
        if (value.is_string() && !acceptsText(rule, value.get<std::string>())) return false;
        if (value.is_array() && !acceptsArray(rule, value)) return false;
        return !value.is_object() || acceptsObject(rule, value);
    }

private:
    static bool isA(const json& value, const std::string& type) {
        if (type == "integer")
            return value.is_number() && value.get<double>() == std::floor(value.get<double>());
        if (type == "number") return value.is_number();
        return type == value.type_name();
    }

    static bool isOneOf(const json& types, const json& value) {
        if (types.is_string()) return isA(value, types);
        return std::ranges::any_of(types, [&](const json& type) { return isA(value, type); });
    }

    static bool acceptsNumber(const json& rule, double value) {
        return value >= rule.value("minimum", value) && value <= rule.value("maximum", value) &&
               (!rule.contains("exclusiveMinimum") || value > rule["exclusiveMinimum"].get<double>());
    }

    static bool acceptsText(const json& rule, const std::string& value) {
        return value.size() >= rule.value("minLength", 0u) &&
               (!rule.contains("pattern") ||
                std::regex_search(value, std::regex(rule["pattern"].get<std::string>())));
    }

    bool acceptsArray(const json& rule, const json& value) const {
        if (value.size() < rule.value("minItems", 0u) || value.size() > rule.value("maxItems", value.size()))
            return false;
        return std::ranges::all_of(
            value, [&](const json& item) { return accepts(rule.value("items", json(true)), item); });
    }

    bool acceptsObject(const json& rule, const json& value) const {
        for (const json& key : rule.value("required", json::array()))
            if (!value.contains(key.get<std::string>())) return false;
        const json known = rule.value("properties", json::object());
        for (const auto& [key, member] : value.items()) {
            const json rest = rule.value("additionalProperties", json(true));
            if (known.contains(key) ? !accepts(known[key], member) : !accepts(rest, member)) return false;
        }
        return true;
    }

    const json& root_;
};

}  // namespace Kavelin::Tests
