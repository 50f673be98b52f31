#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "calibration/file/CalibrationFields.h"

namespace Kavelin::Calibration {

using Json = nlohmann::ordered_json;

/// A figure that is not a number becomes null.
Json toJson(double value);
Json toJson(const Eigen::Vector3d& value);
Json toJson(const Eigen::Matrix3d& value);     ///< three rows
Json toJson(const Eigen::Quaterniond& value);  ///< w, x, y, z
Json toJson(Grade value);
inline Json toJson(const std::string& value) { return value; }
inline Json toJson(bool value) { return value; }
inline Json toJson(std::size_t value) { return value; }
inline Json toJson(const std::vector<std::string>& value) { return value; }

/// Indented by two spaces, with arrays of numbers on one line.
std::string textOf(const Json& json);

/// Turns what `describe` says of a structure into an object.
class FieldWriter {
public:
    template <class Value>
    void operator()(const char* key, Value& value, const FieldRule& = {}) {
        if constexpr (requires(FieldWriter & writer) { describe(writer, value); }) {
            FieldWriter inner;
            describe(inner, value);
            object[key] = inner.object;
        } else {
            object[key] = toJson(value);
        }
    }
    template <class Value>
    void operator()(const char* key, std::optional<Value>& value, const FieldRule& = {}) {
        if (value) (*this)(key, *value);
    }
    void constant(const char* key, const char* text) { object[key] = text; }

    Json object = Json::object();
};

}  // namespace Kavelin::Calibration
