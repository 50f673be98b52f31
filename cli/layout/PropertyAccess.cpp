#include "cli/layout/PropertyAccess.h"

#include <Kavelin/Core/ErrorLog.h>
#include <Kavelin/Core/FlowManager.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <locale>
#include <sstream>

#include "cli/CommandContext.h"
#include "cli/JsonForms.h"
#include "cli/layout/NearestNames.h"
#include "io/files/LiveAddress.h"

namespace Kavelin::Cli {

namespace {

using Kind = PropertyValue::Kind;

struct Expectation {
    std::string_view kind;  // as PropertyDescription names it
    bool (*takes)(const PropertyValue&);
    const char* expected;
};

bool isWholeNumber(const PropertyValue& value) { return value.kind == Kind::number && isWhole(value.number); }

/// Every kind takes a text: the property reads it itself.
const Expectation kExpectations[] = {
    {"int", [](const PropertyValue& v) { return isWholeNumber(v); }, "a whole number"},
    {"unsigned int", [](const PropertyValue& v) { return isWholeNumber(v) && v.number >= 0.0; },
     "a whole number from 0"},
    {"double", [](const PropertyValue& v) { return v.kind == Kind::number; }, "a number"},
    {"bool",
     [](const PropertyValue& v) {
         return v.kind == Kind::boolean || (v.kind == Kind::number && (v.number == 0.0 || v.number == 1.0));
     },
     "true or false"},
    {"matrix", [](const PropertyValue& v) { return v.kind == Kind::matrix; },
     "a matrix, such as [[1, 2, 3]]"},
    {"enum", [](const PropertyValue& v) { return isWholeNumber(v) && v.number >= 0.0; },
     "a label or its index"},
    {"text", [](const PropertyValue& v) { return v.kind == Kind::number; }, "a text"},
    {"file name", [](const PropertyValue&) { return false; }, "a text"},
};

std::string shown(const PropertyValue& value) {
    switch (value.kind) {
        case Kind::text:
            return inQuotes(value.text);
        case Kind::number:
            return numberText(value.number);
        case Kind::boolean:
            return value.boolean ? "true" : "false";
        case Kind::matrix:
            return "a matrix";
    }
    return {};
}

void requireType(const std::string& kind, const PropertyValue& value) {
    for (const Expectation& row : kExpectations)
        if (row.kind == kind && value.kind != Kind::text && !row.takes(value))
            throw UsageError(std::string("takes ") + row.expected + "; this is " + shown(value));
}

/// Whether a text is one value of type T with something behind it. What is no such value at all, the property refuses.
template <class T>
bool hasRest(const std::string& text) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    T value{};
    return (stream >> value) && !(stream >> std::ws).eof();
}

bool hasAllElements(const std::string& text) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    Eigen::Index rows = 0, columns = 0;
    if (!(stream >> rows >> columns)) return true;
    Eigen::Index count = 0;
    for (double element = 0.0; stream >> element;) ++count;
    return stream.eof() && count == std::max(rows, Eigen::Index{0}) * std::max(columns, Eigen::Index{0});
}

/// A property reads the number at the front of a text and stops where it ends: "2,5" would be 2.
/// Raises Poco::DataFormatException, as the property does for other texts, unless all of the text is the value.
void requireWhole(const std::string& kind, const std::string& text) {
    const bool isCut = (kind == "double" && hasRest<double>(text)) || (kind == "int" && hasRest<int>(text)) ||
                       (kind == "unsigned int" && hasRest<unsigned>(text)) ||
                       (kind == "bool" && hasRest<bool>(text));
    if (isCut) throw Poco::DataFormatException("'" + text + "' is no " + kind);
    if (kind == "matrix" && !hasAllElements(text))
        throw Poco::DataFormatException(
            "'" + text +
            "' is no matrix: the rows, the columns, then each element are expected, as in 1 3 0 0 1");
}

/// Comparisons with the bounds let it pass.  @throws UsageError
void requireInBounds(const Core::AbstractProperty& property, const PropertyValue& value) {
    if (value.kind != Kind::number || !std::isnan(value.number)) return;
    const Core::PropertyDescription range = property.describe();
    if (range.minimum && range.maximum)
        throw UsageError("takes a number from " + *range.minimum + " to " + *range.maximum + "; this is nan");
}

bool isFiniteOrText(const PropertyValue& value) {
    if (value.kind == Kind::matrix) return value.matrix.allFinite();
    return value.kind != Kind::number || std::isfinite(value.number);
}

/// Reads "nan", "inf" and "-inf" for a number: streams write them, but do not read them.
PropertyValue withNumberWords(PropertyValue value, const std::string& kind) {
    const auto number = numberWord(value.text);
    if (kind != "double" || value.kind != Kind::text || !number) return value;
    value.kind = Kind::number;
    value.number = *number;
    return value;
}

/// @throws UsageError naming the first variable that neither the flow manager nor the environment knows.
std::string expandAll(const std::string& text) {
    const Core::FlowManager& flow = Core::FlowManager::instance();
    for (std::size_t open = text.find("${"); open != std::string::npos; open = text.find("${", open + 2)) {
        const std::size_t close = text.find('}', open);
        if (close == std::string::npos) break;
        const std::string variable = text.substr(open, close - open + 1);
        if (flow.expandVariables(variable) != variable) continue;
        const std::string name = variable.substr(2, variable.size() - 3);
        throw UsageError("variable " + inQuotes(name) + " is not set; give --var " + name +
                         "=..., or put it under \"variables\" or in the environment");
    }
    return flow.expandVariables(text);
}

std::string placedFileName(const std::string& text, const std::filesystem::path& folder) {
    const std::string expanded = expandAll(text);
    const bool stays = expanded.empty() || expanded == "-" || RecordingIO::isLiveAddress(expanded) ||
                       folder.empty() || expanded.front() == '/';
    return stays ? text : (folder / text).string();
}

Core::Matrix matrixOf(const std::string& text) {
    std::istringstream stream(text);
    Eigen::Index rows = 0, columns = 0;
    stream >> rows >> columns;
    Core::Matrix matrix = Core::Matrix::Zero(rows, columns);
    for (Eigen::Index i = 0; i < matrix.size(); ++i) {
        std::string element;
        stream >> element;
        matrix.data()[i] = std::strtod(element.c_str(), nullptr);  // knows nan and inf, unlike the stream
    }
    return matrix;
}

/// A file name as a layout in `folder` has to give it;
/// `text`, if relative, starts from the current folder.
std::string movedTo(const std::filesystem::path& folder, const std::string& text) {
    const std::string whole = placedFileName(text, std::filesystem::current_path());
    const std::string prefix = (folder / "").string();
    return !folder.empty() && whole.starts_with(prefix) ? whole.substr(prefix.size()) : whole;
}

}  // namespace

std::vector<std::string> propertyNames(const Core::Filter& filter, bool commands) {
    std::vector<std::string> names;
    for (const Core::AbstractProperty* property : filter.getPropertyBag().getProperties())
        if (property->hasValue() != commands) names.push_back(property->getName());
    return names;
}

void writeProperty(Core::AbstractProperty& property, const PropertyValue& given,
                   const std::filesystem::path& folder) {
    const std::string kind = property.describe().kind;
    const PropertyValue value = withNumberWords(given, kind);
    requireType(kind, value);
    if (kind == "command")
        throw UsageError(
            "is a command and has no value; \"commands\" or an action with \"command\" activates it");
    if (value.kind == Kind::text) requireWhole(kind, value.text);
    requireInBounds(property, value);
    if (!isFiniteOrText(value)) {
        if (value.kind == Kind::matrix)
            property.setAny(value.matrix);
        else
            property.setAny(value.number);
        return;
    }
    const std::string text = textForm(value);
    property.deSerialize(kind == "file name" ? placedFileName(text, folder) : text);
}

PropertyValue presentValue(const Core::AbstractProperty& property, const std::filesystem::path& folder) {
    const std::string kind = property.describe().kind;
    const std::string text = property.exactText();
    PropertyValue value;
    value.text = text;
    if (kind == "matrix") {
        value.kind = Kind::matrix;
        value.matrix = matrixOf(text);
    } else if (kind == "bool") {
        value.kind = Kind::boolean;
        value.boolean = text != "0";
    } else if (kind == "int" || kind == "unsigned int" || kind == "double") {
        value.kind = Kind::number;
        value.number = std::strtod(text.c_str(), nullptr);
    } else if (kind == "file name") {
        value.text = movedTo(folder, text);
    }
    return value;
}

std::string refusalText(const Core::AbstractProperty& property, const PropertyValue& value,
                        const std::exception& error) {
    if (property.describe().kind == "bool" && dynamic_cast<const Poco::DataFormatException*>(&error))
        return shown(value) + " is neither 1 (true) nor 0 (false)";
    const std::string message = Core::exceptionMessage(error);
    if (!message.empty()) return message;
    const std::vector<std::string> labels = property.describe().labels;
    if (labels.empty()) return shown(value) + " is refused (" + Core::exceptionType(error) + ")";
    return shown(value) + " is no index of a label, 0 to " + std::to_string(labels.size() - 1) +
           "; labels: " + listed(labels);
}

}  // namespace Kavelin::Cli
