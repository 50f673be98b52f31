#pragma once

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "calibration/file/CalibrationFields.h"

namespace Kavelin::Calibration {

using Json = nlohmann::ordered_json;

/// A value and where it stands, for messages.
struct PlacedJson {
    const Json& json;
    std::string place;  ///< "cal.json: magnetic.offset"

    PlacedJson at(const std::string& key) const;
    PlacedJson at(std::size_t index) const;
    /// @throws Poco::DataFormatException with the place, what is expected and what stands there
    [[noreturn]] void refuse(const std::string& expected) const;
};

// Each refuses a value of another form, and figures that are not finite or beyond the rule.
void read(const PlacedJson& from, const FieldRule& rule, double& value);
void read(const PlacedJson& from, const FieldRule& rule, std::size_t& value);
void read(const PlacedJson& from, const FieldRule& rule, bool& value);
void read(const PlacedJson& from, const FieldRule& rule, std::string& value);
void read(const PlacedJson& from, const FieldRule& rule, std::vector<std::string>& value);
void read(const PlacedJson& from, const FieldRule& rule, Eigen::Vector3d& value);
void read(const PlacedJson& from, const FieldRule& rule, Eigen::Matrix3d& value);
void read(const PlacedJson& from, const FieldRule& rule, Eigen::Quaterniond& value);
void read(const PlacedJson& from, const FieldRule& rule, Grade& value);

inline void makeUnknown(double& value) { value = std::numeric_limits<double>::quiet_NaN(); }
inline void makeUnknown(Eigen::Vector3d& value) {
    value.setConstant(std::numeric_limits<double>::quiet_NaN());
}
template <class Value>
void makeUnknown(Value&) {}

/// Fills what `describe` says of a structure from an object. A figure that is not there and may be unknown is so;
/// another field keeps its value.
class FieldReader {
public:
    /// Refuses what is not an object.
    explicit FieldReader(const PlacedJson& object);

    template <class Value>
    void operator()(const char* key, Value& value, const FieldRule& rule = {}) {
        const auto field = find(key, rule);
        if (!field) {
            if (rule.mayBeUnknown) makeUnknown(value);
        } else if constexpr (requires(FieldReader & reader) { describe(reader, value); }) {
            FieldReader inner(*field);
            describe(inner, value);
            inner.refuseUnknown();
        } else {
            read(*field, rule, value);
        }
    }
    template <class Value>
    void operator()(const char* key, std::optional<Value>& value, const FieldRule& rule = {}) {
        const auto field = find(key, rule);
        if (field && !field->json.is_null()) (*this)(key, value.emplace(), rule);
    }
    /// A text that may be left out, but not be another.
    void constant(const char* key, const char* text);
    /// A key that is read elsewhere, or not at all.
    void pass(const char* key) {
        if (std::ranges::find(known_, key) == known_.end()) known_.emplace_back(key);
    }
    /// Refuses keys that `describe` did not name.
    void refuseUnknown() const;

private:
    std::optional<PlacedJson> find(const char* key, const FieldRule& rule);

    PlacedJson object_;
    std::vector<std::string> known_;
};

}  // namespace Kavelin::Calibration
