#pragma once

#include <Kavelin/Typed/Matrix.h>

#include <string>

#include "cli/layout/JsonTree.h"

namespace Kavelin::Cli {

/// A property's value as a layout gives it. A text is the property's text form or the label of an
/// enumeration: only the property can tell which.
struct PropertyValue {
    enum class Kind { text, number, boolean, matrix };

    Kind kind = Kind::text;
    std::string text;
    double number = 0.0;
    bool boolean = false;
    Core::Matrix matrix;
    Place place;
};

/// Reads a text, a number, a boolean or an array of rows whose elements are numbers or one of the texts
/// "nan", "inf", "-inf"; `[]` is 0x0, `[[], []]` 2x0.
/// @return false after adding what is wrong to `mistakes`.
bool readPropertyValue(const JsonNode& node, PropertyValue& value, Mistakes& mistakes);

/// The text form that properties read: numbers in full ("0.1", whole ones without exponent), booleans as "0"
/// and "1", matrices as row count, column count and elements row by row, texts as they are.
std::string textForm(const PropertyValue& value);

/// The form that a layout file has: JSON.
std::string jsonForm(const PropertyValue& value);

/// @return `number` in the shortest form that reads back equal; whole numbers below 2^53 without exponent.
std::string numberText(double number);

/// Whether `number` is whole and small enough for a double to hold each of its neighbours.
bool isWhole(double number);

}  // namespace Kavelin::Cli
