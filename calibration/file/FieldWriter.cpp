#include "calibration/file/FieldWriter.h"

#include <algorithm>
#include <cmath>

namespace Kavelin::Calibration {

namespace {

std::string inOneLine(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

/// Numbers, or rows of them.
bool isShort(const Json& json) {
    return json.is_array() && std::ranges::all_of(json, [](const Json& item) {
               return item.is_number() || item.is_null() || isShort(item);
           });
}

std::string shortText(const Json& array) {
    if (!array.is_array()) return inOneLine(array);
    std::string text = "[";
    for (const Json& item : array) text += (text.size() > 1 ? ", " : "") + shortText(item);
    return text + "]";
}

std::string textAt(const Json& json, const std::string& indent) {
    if (isShort(json)) return shortText(json);
    if (!json.is_structured()) return inOneLine(json);
    const std::string deeper = indent + "  ";
    std::string text;
    for (const auto& [key, value] : json.items()) {
        text += (text.empty() ? "\n" : ",\n") + deeper;
        if (json.is_object()) text += inOneLine(key) + ": ";
        text += textAt(value, deeper);
    }
    return json.is_object() ? "{" + text + "\n" + indent + "}" : "[" + text + "\n" + indent + "]";
}

}  // namespace

Json toJson(double value) { return std::isfinite(value) ? Json(value) : Json(); }

Json toJson(const Eigen::Vector3d& value) {
    return Json::array({toJson(value.x()), toJson(value.y()), toJson(value.z())});
}

Json toJson(const Eigen::Matrix3d& value) {
    Json rows = Json::array();
    for (int row = 0; row < 3; ++row) rows.push_back(toJson(Eigen::Vector3d(value.row(row))));
    return rows;
}

Json toJson(const Eigen::Quaterniond& value) {
    return Json::array({toJson(value.w()), toJson(value.x()), toJson(value.y()), toJson(value.z())});
}

Json toJson(Grade value) {
    constexpr const char* kNames[] = {"good", "fair", "poor"};
    return kNames[static_cast<int>(value)];
}

std::string textOf(const Json& json) { return textAt(json, "") + "\n"; }

}  // namespace Kavelin::Calibration
