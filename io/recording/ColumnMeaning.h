#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Kavelin::RecordingIO {

/// What the words of a column's name say: "LeftFoot_Gyro_X_dps" is axis x of pin "3g", in dps, of the sensor
/// "LeftFoot".
struct ColumnMeaning {
    std::string pin;     ///< "3a", "3g", "3m" or "quat"
    std::size_t axis;    ///< 0 for x, 1, 2; of a quaternion 0 for w, 1 for x, ...
    std::string unit;    ///< as written; empty where the name says none
    std::string sensor;  ///< the words that say nothing else, as written; empty where there are none
};

/// Reads a name as words, which begin after a blank, "_", "-", ".", "/" or with a capital. Empty where they do
/// not name a quantity and an axis, or name what no filter takes: linear acceleration, a bias, a temperature.
/// Never throws.
std::optional<ColumnMeaning> meaningOf(std::string_view name);

/// A unit at the end of a name, as in "acc_x_mg", "gyro_rad[0]", "time_ms".
/// @return the number of characters that it takes, with what separates it; 0 where there is none
std::size_t unitSuffix(std::string_view name, std::string& unit);

}  // namespace Kavelin::RecordingIO
