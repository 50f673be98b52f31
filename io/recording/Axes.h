#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>

namespace Kavelin::RecordingIO {

/// How a vector's new axes lie along those of the recording: element i is sign[i] times element from[i].
struct AxisChoice {
    std::array<std::size_t, 3> from{0, 1, 2};
    std::array<double, 3> sign{1.0, 1.0, 1.0};
    bool isInverted =
        false;  ///< the whole vector has the opposite sign: gravity, where specific force is meant

    bool operator==(const AxisChoice&) const = default;
};

struct AxesChoice {
    AxisChoice all;                           ///< of the unit: all its vectors, and its orientation
    std::map<std::string, AxisChoice> ofPin;  ///< of one sensor, in addition

    bool operator==(const AxesChoice&) const = default;

    /// What becomes of the vectors of a pin.
    AxisChoice of(const std::string& pin) const;
};

/// Reads `y,-x,z` for the whole unit (the new x lies along the old y, the new y against the old x), and
/// `3m = -y,x,z; 3a = inverted` for single sensors; entries are separated by semicolons.
/// Raises Poco::DataFormatException for what cannot be read, an axis that is used twice, and a left-handed
/// choice, which no turn of a unit makes.
AxesChoice parseAxes(std::string_view text);

/// w, x, y, z of the rotation that takes coordinates along the new axes to those along the old ones.
std::array<double, 4> turnOf(const AxisChoice& choice);

}  // namespace Kavelin::RecordingIO
