#include "calibration/file/FieldReader.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <Eigen/LU>
#include <algorithm>
#include <cmath>
#include <limits>

namespace Kavelin::Calibration {

namespace {

constexpr double kSmallestElement = 1e-6, kGreatestElement = 1e6;  // of a matrix
constexpr double kSmallestDeterminant = 1e-6;  // of a matrix, as a share of the cube of its norm
constexpr double kUnitTolerance = 1e-3;        // of a quaternion's norm

/// What stands there: short, or its beginning.
std::string shown(const Json& json) {
    constexpr std::size_t kShort = 60;
    if (json.is_object()) return "an object";
    std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    if (text.size() <= kShort) return text;
    return json.is_array() ? fmt::format("an array of {}", json.size()) : "a long text";
}

std::string expectedNumber(const FieldRule& rule) {
    std::string text = "a number";
    const bool hasLeast = rule.least > std::numeric_limits<double>::lowest();
    if (hasLeast && rule.most < std::numeric_limits<double>::max())
        text += fmt::format(" from {} to {}", rule.least, rule.most);
    else if (hasLeast)
        text += fmt::format(" {} {}", rule.isAboveLeast ? "above" : "of at least", rule.least);
    return rule.mayBeUnknown ? text + ", or null" : text;
}

void requireArray(const PlacedJson& from, std::size_t size, const char* expected) {
    if (!from.json.is_array() || from.json.size() != size) from.refuse(expected);
}

}  // namespace

PlacedJson PlacedJson::at(const std::string& key) const {
    const bool isTop = place.ends_with(": ");
    return {json.at(key), place + (isTop ? "" : ".") + key};
}

PlacedJson PlacedJson::at(std::size_t index) const {
    return {json.at(index), fmt::format("{}[{}]", place, index)};
}

void PlacedJson::refuse(const std::string& expected) const {
    throw Poco::DataFormatException(fmt::format("{}{}{} is expected; this is {}", place,
                                                place.ends_with(": ") ? "" : ": ", expected, shown(json)));
}

void read(const PlacedJson& from, const FieldRule& rule, double& value) {
    if (from.json.is_null() && rule.mayBeUnknown) {
        value = std::numeric_limits<double>::quiet_NaN();
        return;
    }
    if (!from.json.is_number()) from.refuse(expectedNumber(rule));
    value = from.json.get<double>();
    const bool isBelow = rule.isAboveLeast ? !(value > rule.least) : value < rule.least;
    if (!std::isfinite(value) || isBelow || value > rule.most) from.refuse(expectedNumber(rule));
}

void read(const PlacedJson& from, const FieldRule&, std::size_t& value) {
    if (!from.json.is_number_unsigned()) from.refuse("a whole number of at least 0");
    value = from.json.get<std::size_t>();
}

void read(const PlacedJson& from, const FieldRule&, bool& value) {
    if (!from.json.is_boolean()) from.refuse("true or false");
    value = from.json.get<bool>();
}

void read(const PlacedJson& from, const FieldRule& rule, std::string& value) {
    if (!from.json.is_string()) from.refuse("a text");
    value = from.json.get<std::string>();
    const std::string choices = rule.choices;
    if (choices.empty()) return;
    if (value.find('|') == std::string::npos &&
        ("|" + choices + "|").find("|" + value + "|") != std::string::npos)
        return;
    std::string list;
    for (std::size_t begin = 0; begin <= choices.size();) {
        const std::size_t end = std::min(choices.find('|', begin), choices.size());
        list += (list.empty() ? "\"" : " or \"") + choices.substr(begin, end - begin) + "\"";
        begin = end + 1;
    }
    from.refuse(list);
}

void read(const PlacedJson& from, const FieldRule& rule, std::vector<std::string>& value) {
    if (!from.json.is_array()) from.refuse("an array of texts");
    value.assign(from.json.size(), {});
    for (std::size_t i = 0; i < value.size(); ++i) read(from.at(i), rule, value[i]);
}

void read(const PlacedJson& from, const FieldRule& rule, Eigen::Vector3d& value) {
    requireArray(from, 3, "an array of three numbers");
    for (std::size_t i = 0; i < 3; ++i) read(from.at(i), rule, value[static_cast<Eigen::Index>(i)]);
}

void read(const PlacedJson& from, const FieldRule& rule, Eigen::Matrix3d& value) {
    requireArray(from, 3, "a matrix of three rows of three numbers");
    for (std::size_t i = 0; i < 3; ++i) {
        Eigen::Vector3d row;
        read(from.at(i), rule, row);
        value.row(static_cast<Eigen::Index>(i)) = row.transpose();
    }
    const double largest = value.cwiseAbs().maxCoeff();
    // Scaled first, so that the determinant of no finite matrix overflows.
    if (!(largest > 0.0) || std::abs((value / largest).determinant()) < kSmallestDeterminant)
        from.refuse("a matrix that can be inverted");
    if (!(largest >= kSmallestElement && largest <= kGreatestElement))
        from.refuse(fmt::format("a matrix whose greatest element is between {:g} and {:g}", kSmallestElement,
                                kGreatestElement));
}

void read(const PlacedJson& from, const FieldRule& rule, Eigen::Quaterniond& value) {
    requireArray(from, 4, "a quaternion of four numbers, w, x, y, z,");
    double parts[4];
    for (std::size_t i = 0; i < 4; ++i) read(from.at(i), rule, parts[i]);
    value = Eigen::Quaterniond(parts[0], parts[1], parts[2], parts[3]);
    if (!(std::abs(value.coeffs().stableNorm() - 1.0) < kUnitTolerance))
        from.refuse("a quaternion of norm 1");
}

void read(const PlacedJson& from, const FieldRule&, Grade& value) {
    for (const Grade grade : {Grade::kGood, Grade::kFair, Grade::kPoor}) {
        constexpr const char* kNames[] = {"good", "fair", "poor"};
        if (from.json != kNames[static_cast<int>(grade)]) continue;
        value = grade;
        return;
    }
    from.refuse(R"("good", "fair" or "poor")");
}

FieldReader::FieldReader(const PlacedJson& object) : object_(object) {
    if (!object_.json.is_object()) object_.refuse("an object {...}");
}

void FieldReader::constant(const char* key, const char* text) {
    std::string given = text;
    (*this)(key, given, {.choices = text});
}

std::optional<PlacedJson> FieldReader::find(const char* key, const FieldRule& rule) {
    pass(key);
    if (object_.json.contains(key)) return object_.at(key);
    if (rule.isNeeded) object_.refuse(fmt::format("an object with \"{}\"", key));
    return std::nullopt;
}

void FieldReader::refuseUnknown() const {
    for (const auto& [key, value] : object_.json.items()) {
        if (std::ranges::find(known_, key) != known_.end()) continue;
        throw Poco::DataFormatException(fmt::format(
            "{}{}unknown key {}; it takes {}", object_.place, object_.place.ends_with(": ") ? "" : ": ",
            Json(key).dump(-1, ' ', false, Json::error_handler_t::replace), fmt::join(known_, ", ")));
    }
}

}  // namespace Kavelin::Calibration
