#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Kavelin::RecordingIO {

/// What a column measures; decides which unit names make sense in it and which unit leaves the reader.
enum class Quantity {
    kTime,          ///< s
    kAcceleration,  ///< m/s^2
    kRate,          ///< rad/s
    kField,         ///< uT
    kAngle,         ///< rad
    kNone           ///< quaternions, flags, anything else: passed on as it stands
};

/// A value in a file's unit becomes `value * multiply / divide` in the unit that leaves the reader.
/// Two numbers, not one: 1234 ms / 1000 is the double nearest to 1.234, 1234 * 0.001 is not.
struct Unit {
    double multiply = 1.0;
    double divide = 1.0;

    double apply(double value) const { return value * multiply / divide; }
    bool isIdentity() const { return multiply == 1.0 && divide == 1.0; }
};

/// Unit called `name` ("ms", "deg/s", "g", "m/s^2", "uT", ...; case does not matter) for a column of this
/// quantity. Empty when the quantity has no unit of that name.  Never throws.
std::optional<Unit> findUnit(Quantity quantity, std::string_view name);

/// The unit a quantity has behind the reader ("s", "m/s^2", "rad/s", "uT", "").
std::string_view baseUnit(Quantity quantity);

/// "acceleration", "angular rate", "magnetic field", as pins call it; empty for kNone.
std::string_view quantityName(Quantity quantity);

/// The unit names understood for a quantity, for messages: "rad/s, deg/s, dps, mdps".
std::string unitNames(Quantity quantity);

}  // namespace Kavelin::RecordingIO
