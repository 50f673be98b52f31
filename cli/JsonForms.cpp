#include "cli/JsonForms.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "cli/CommandContext.h"
#include "io/recording/ResultFile.h"

namespace Kavelin::Cli {
namespace {

using nlohmann::json;

}  // namespace

void appendNumber(std::string& out, double number) {
    if (std::isnan(number)) {
        out += "\"nan\"";
    } else if (std::isinf(number)) {
        out += number > 0 ? "\"inf\"" : "\"-inf\"";
    } else if (number == 0.0 && std::signbit(number)) {
        out += "-0.0";  // a reader may take "-0" for the integer 0
    } else {
        char digits[RecordingIO::kLongestNumber];
        out.append(digits, RecordingIO::writeNumber(digits, number));
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

std::optional<double> numberWord(std::string_view text) {
    if (text == "nan") return std::numeric_limits<double>::quiet_NaN();
    if (text == "inf") return std::numeric_limits<double>::infinity();
    if (text == "-inf") return -std::numeric_limits<double>::infinity();
    return std::nullopt;
}

double numberFromJson(const json& value, const std::string& what) {
    if (value.is_number()) return value.get<double>();
    if (value.is_string())
        if (const auto number = numberWord(value.get_ref<const std::string&>())) return *number;
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
            throw UsageError(
                fmt::format("{}: row {} has {} elements and row 0 has {}", what, r, row.size(), columns));
        for (std::size_t c = 0; c < columns; ++c)
            matrix(static_cast<Eigen::Index>(r), static_cast<Eigen::Index>(c)) =
                numberFromJson(row[c], fmt::format("{}[{}][{}]", what, r, c));
    }
    return matrix;
}

}  // namespace Kavelin::Cli
