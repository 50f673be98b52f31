#pragma once

#include <Kavelin/Core/Export.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace Kavelin::Core {

/// Rows and columns of a sample; 0 stands for any number.
struct PinShape {
    std::ptrdiff_t rows = 0;
    std::ptrdiff_t cols = 0;

    constexpr bool isFixed() const { return rows > 0 && cols > 0; }
    bool operator==(const PinShape&) const = default;
};

/// What a pin carries, as its filter declares it, for checks, descriptions and labels of connections. A pin
/// that declares nothing carries anything.
///
/// The texts must outlive the pin: literals. An empty text makes no statement.
struct PinContent {
    using ShapeTest = bool (*)(PinShape);

    PinShape shape = {};        ///< the usual one
    ShapeTest takes = nullptr;  ///< which shapes an input takes; null: `shape` alone
    std::string_view takesText =
        {};  ///< what `takes` takes, for messages: "3 elements"; empty: the usual shape
    std::string_view quantity = {};   ///< "acceleration"
    std::string_view unit = {};       ///< "m/s^2", as in the header of a recording
    std::string_view frame = {};      ///< that of the elements, "sensor"; of an orientation, from and to
    bool isOptional = false;          ///< an input without which its filter works
    bool isWallClockStamped = false;  ///< an output whose time stamps tell when a result was computed

    /// Whether an input of this content uses samples of a shape.
    constexpr bool fits(PinShape sample) const {
        if (takes != nullptr) return takes(sample);
        return (shape.rows == 0 || shape.rows == sample.rows) &&
               (shape.cols == 0 || shape.cols == sample.cols);
    }
};

/// "1x3"; "any" where neither rows nor columns are fixed, "1xN" and "Nx3" where one is.
KAVELIN_API std::string shapeText(PinShape shape);

class AbstractInputPin;
class AbstractOutputPin;

/// What travels on a connection as the sending pin declares it, or the pin from which it hands samples on.
KAVELIN_API PinContent contentSent(const AbstractOutputPin& output);

/// Why the reader can use nothing that a connection carries: "recording:3a sends 3x1, attitude:3a takes 1x3";
/// empty where its samples may fit.
KAVELIN_API std::string shapeMistake(const AbstractOutputPin& output, const AbstractInputPin& input);

/// Why a connection is doubtful: "recording:3a carries m/s^2, attitude:3g takes rad/s";
/// empty where it is not.
KAVELIN_API std::string contentDoubt(const AbstractOutputPin& output, const AbstractInputPin& input);

}  // namespace Kavelin::Core
