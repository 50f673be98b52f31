#include "cli/JsonForms.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "cli/CommandContext.h"

namespace Kavelin::Cli {
namespace {

using nlohmann::json;

std::string cellName(const std::string& what, std::size_t row, std::size_t column) {
    return what + "[" + std::to_string(row) + "][" + std::to_string(column) + "]";
}

}  // namespace

void appendNumber(std::string& out, double number) {
    if (std::isnan(number)) {
        out += "\"nan\"";
    } else if (std::isinf(number)) {
        out += number > 0 ? "\"inf\"" : "\"-inf\"";
    } else if (number == 0.0 && std::signbit(number)) {
        out += "-0.0";  // a reader may take "-0" for the integer 0
    } else {
        std::array<char, 32> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        out.append(digits.data(), end);
    }
}

void appendMatrix(std::string& out, const Core::Matrix& matrix) {
    out += '[';
    for (Eigen::Index row = 0; row < matrix.rows(); ++row) {
        out += row == 0 ? "[" : ", [";
        for (Eigen::Index column = 0; column < matrix.cols(); ++column) {
            if (column != 0) out += ", ";
            appendNumber(out, matrix(row, column));
        }
        out += ']';
    }
    out += ']';
}

void appendText(std::string& out, std::string_view text) {
    out += json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

double numberFromJson(const json& value, const std::string& what) {
    if (value.is_number()) return value.get<double>();
    if (value == "nan") return std::numeric_limits<double>::quiet_NaN();
    if (value == "inf") return std::numeric_limits<double>::infinity();
    if (value == "-inf") return -std::numeric_limits<double>::infinity();
    throw UsageError(what + R"( must be a number or one of "nan", "inf", "-inf", and is )" +
                     value.dump(-1, ' ', false, json::error_handler_t::replace));
}

Core::Matrix matrixFromJson(const json& value, const std::string& what) {
    if (!value.is_array()) throw UsageError(what + " must be an array of rows, such as [[1, 2, 3]]");
    if (value.empty()) return {};
    const std::size_t columns = value.front().size();
    Core::Matrix matrix(static_cast<Eigen::Index>(value.size()),
                        static_cast<Eigen::Index>(value.front().is_array() ? columns : 0));
    for (std::size_t r = 0; r < value.size(); ++r) {
        const json& row = value[r];
        if (!row.is_array()) throw UsageError(what + " must be an array of rows, such as [[1, 2, 3]]");
        if (row.size() != columns)
            throw UsageError(what + ": row " + std::to_string(r) + " has " + std::to_string(row.size()) +
                             " elements and row 0 has " + std::to_string(columns));
        for (std::size_t c = 0; c < columns; ++c)
            matrix(static_cast<Eigen::Index>(r), static_cast<Eigen::Index>(c)) =
                numberFromJson(row[c], cellName(what, r, c));
    }
    return matrix;
}

}  // namespace Kavelin::Cli
