#include "cli/layout/PropertyValue.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace Kavelin::Cli {

namespace {

constexpr double kEveryWholeBelow = 9007199254740992.0;  // 2^53

bool readElement(const JsonNode& node, double& element) {
    if (node.kind == JsonNode::Kind::number) {
        element = node.number;
        return true;
    }
    if (node.kind != JsonNode::Kind::text) return false;
    if (node.text == "nan")
        element = std::numeric_limits<double>::quiet_NaN();
    else if (node.text == "inf")
        element = std::numeric_limits<double>::infinity();
    else if (node.text == "-inf")
        element = -std::numeric_limits<double>::infinity();
    else
        return false;
    return true;
}

bool readRow(const JsonNode& row, Eigen::Index index, Core::Matrix& matrix, Mistakes& mistakes) {
    if (row.kind != JsonNode::Kind::array) {
        mistakes.push_back(
            {row.place, std::string("a matrix is an array of rows, such as [[1, 2, 3]]; this row is ") +
                            describe(row.kind)});
        return false;
    }
    const auto columns = static_cast<Eigen::Index>(row.items.size());
    if (columns != matrix.cols()) {
        mistakes.push_back({row.place, "row " + std::to_string(index) + " of the matrix has " +
                                           std::to_string(columns) + " elements, row 0 has " +
                                           std::to_string(matrix.cols())});
        return false;
    }
    for (Eigen::Index c = 0; c < columns; ++c) {
        const JsonNode& cell = row.items[static_cast<std::size_t>(c)];
        if (readElement(cell, matrix(index, c))) continue;
        mistakes.push_back(
            {cell.place, std::string("an element of a matrix is a number or one of the texts \"nan\", "
                                     "\"inf\", \"-inf\"; this is ") +
                             describe(cell.kind)});
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
    std::string text = std::to_string(matrix.rows()) + " " + std::to_string(matrix.cols());
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
        {node.place, std::string("a property's value is a text, a number, a boolean or a matrix "
                                 "(an array of rows); this is ") +
                         describe(node.kind)});
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

std::string numberText(double number) {
    std::array<char, 32> digits{};
    const auto end = isWhole(number) ? std::to_chars(digits.data(), digits.data() + digits.size(), number,
                                                     std::chars_format::fixed)
                                     : std::to_chars(digits.data(), digits.data() + digits.size(), number);
    return {digits.data(), end.ptr};
}

bool isWhole(double number) { return std::abs(number) < kEveryWholeBelow && std::trunc(number) == number; }

}  // namespace Kavelin::Cli
