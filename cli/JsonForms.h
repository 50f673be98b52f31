#pragma once

#include <Kavelin/Typed/Matrix.h>

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace Kavelin::Cli {

// JSON forms of the values that travel between pins. Writing appends to a text, so that a run of lines reuses
// one buffer; reading throws UsageError with what is wrong and what would be right.

/// Appends `number` in the shortest form that reads back equal: -0.0 as `-0.0`, and the values that JSON
/// lacks as the texts "nan", "inf", "-inf" in quotes. Throws only std::bad_alloc.
void appendNumber(std::string& out, double number);

/// Appends `matrix` as an array of rows: `[[1, 2, 3]]` is 1x3, `[]` has no rows, `[[], []]` is 2x0.
void appendMatrix(std::string& out, const Core::Matrix& matrix);

/// Appends `text` as a JSON string. Bytes that are not UTF-8 become U+FFFD.
void appendText(std::string& out, std::string_view text);

/// @return the number that one of the texts "nan", "inf", "-inf" stands for; nothing for any other text.
std::optional<double> numberWord(std::string_view text);

/// @param what names the value in messages, e.g. "\"t\"".
/// @return a JSON number, or the number that one of the texts "nan", "inf", "-inf" stands for.
double numberFromJson(const nlohmann::json& json, const std::string& what);

/// @param what names the value in messages, e.g. "\"value\"".
/// @return the matrix of an array of rows, all of one length; `[]` gives 0x0, `[[], []]` 2x0.
Core::Matrix matrixFromJson(const nlohmann::json& json, const std::string& what);

}  // namespace Kavelin::Cli
