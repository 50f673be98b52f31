#include "cli/layout/PropertyValue.h"

#include <fmt/format.h>

#include <cmath>

#include "cli/JsonForms.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

constexpr double kEveryWholeBelow = 9007199254740992.0;  // 2^53

bool readElement(const JsonNode& node, double& element) {
    if (node.kind == JsonNode::Kind::number) {
        element = node.number;
        return true;
    }
    const auto word = node.kind == JsonNode::Kind::text ? numberWord(node.text) : std::nullopt;
    element = word.value_or(element);
    return word.has_value();
}

bool readRow(const JsonNode& row, Eigen::Index index, Core::Matrix& matrix, Mistakes& mistakes) {
    if (row.kind != JsonNode::Kind::array) {
        mistakes.push_back(
            {row.place, fmt::format("a matrix is an array of rows, such as [[1, 2, 3]]; this row is {}",
                                    describe(row.kind))});
        return false;
    }
    const auto columns = static_cast<Eigen::Index>(row.items.size());
    if (columns != matrix.cols()) {
        mistakes.push_back({row.place, fmt::format("row {} of the matrix has {} elements, row 0 has {}",
                                                   index, columns, matrix.cols())});
        return false;
    }
    for (Eigen::Index c = 0; c < columns; ++c) {
        const JsonNode& cell = row.items[static_cast<std::size_t>(c)];
        if (readElement(cell, matrix(index, c))) continue;
        mistakes.push_back(
            {cell.place, fmt::format("an element of a matrix is a number or one of the texts \"nan\", "
                                     "\"inf\", \"-inf\"; this is {}",
                                     describe(cell.kind))});
        return false;
    }
    return true;
}

bool readMatrix(const JsonNode& node, Core::Matrix& matrix, Mistakes& mistakes) {
    const auto rows = static_cast<Eigen::Index>(node.items.size());
    const auto columns = rows == 0 ? 0 : static_cast<Eigen::Index>(node.items.front().items.size());
    matrix.setZero(rows, columns);
    for (Eigen::Index r = 0; r < rows; ++r)
        if (!readRow(node.items[static_cast<std::size_t>(r)], r, matrix, mistakes)) return false;
    return true;
}

std::string matrixText(const Core::Matrix& matrix) {
    std::string text = fmt::format("{} {}", matrix.rows(), matrix.cols());
    for (Eigen::Index i = 0; i < matrix.size(); ++i) text += " " + numberText(matrix.data()[i]);
    return text;
}

}  // namespace

bool readPropertyValue(const JsonNode& node, PropertyValue& value, Mistakes& mistakes) {
    value.place = node.place;
    switch (node.kind) {
        case JsonNode::Kind::text:
            value.kind = PropertyValue::Kind::text;
            value.text = node.text;
            return true;
        case JsonNode::Kind::number:
            value.kind = PropertyValue::Kind::number;
            value.number = node.number;
            return true;
        case JsonNode::Kind::boolean:
            value.kind = PropertyValue::Kind::boolean;
            value.boolean = node.boolean;
            return true;
        case JsonNode::Kind::array:
            value.kind = PropertyValue::Kind::matrix;
            return readMatrix(node, value.matrix, mistakes);
        case JsonNode::Kind::null:
        case JsonNode::Kind::object:
            break;
    }
    mistakes.push_back(
        {node.place, fmt::format("a property's value is a text, a number, a boolean or a matrix (an array "
                                 "of rows); this is {}",
                                 describe(node.kind))});
    return false;
}

std::string textForm(const PropertyValue& value) {
    switch (value.kind) {
        case PropertyValue::Kind::text:
            return value.text;
        case PropertyValue::Kind::number:
            return numberText(value.number);
        case PropertyValue::Kind::boolean:
            return value.boolean ? "1" : "0";
        case PropertyValue::Kind::matrix:
            return matrixText(value.matrix);
    }
    return {};
}

std::string jsonForm(const PropertyValue& value) {
    std::string text;
    switch (value.kind) {
        case PropertyValue::Kind::text:
            appendText(text, value.text);
            break;
        case PropertyValue::Kind::number:
            appendNumber(text, value.number);
            break;
        case PropertyValue::Kind::boolean:
            return value.boolean ? "true" : "false";
        case PropertyValue::Kind::matrix:
            appendMatrix(text, value.matrix);
            break;
    }
    return text;
}

std::string numberText(double number) {
    return isWhole(number) ? fmt::format("{:.0f}", number) : RecordingIO::exactText(number);
}

bool isWhole(double number) { return std::abs(number) < kEveryWholeBelow && std::trunc(number) == number; }

}  // namespace Kavelin::Cli
