#include "io/recording/Units.h"

#include <Kavelin/Typed/UnitNames.h>
#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "attitude/rotation/AngleConstants.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

using OrientationInternal::kPi;
constexpr double kStandardGravity = 9.80665;  // m/s^2 for 1 g, by definition

struct NamedUnit {
    Quantity quantity;
    std::string_view name;
    Unit unit;
};

// The first name of a quantity is its base unit.
constexpr NamedUnit kUnits[] = {
    {Quantity::kTime, Core::kSeconds, {1.0, 1.0}},
    {Quantity::kTime, "sec", {1.0, 1.0}},
    {Quantity::kTime, "seconds", {1.0, 1.0}},
    {Quantity::kTime, "ms", {1.0, 1e3}},
    {Quantity::kTime, "us", {1.0, 1e6}},
    {Quantity::kTime, "\xC2\xB5s", {1.0, 1e6}},
    {Quantity::kTime, "ns", {1.0, 1e9}},
    {Quantity::kAcceleration, Core::kMetresPerSecondSquared, {1.0, 1.0}},
    {Quantity::kAcceleration, "m/s2", {1.0, 1.0}},
    {Quantity::kAcceleration, "m/s\xC2\xB2", {1.0, 1.0}},
    {Quantity::kAcceleration, "m/s/s", {1.0, 1.0}},
    {Quantity::kAcceleration, "g", {kStandardGravity, 1.0}},
    {Quantity::kAcceleration, "mg", {kStandardGravity, 1e3}},
    {Quantity::kAcceleration, "cm/s^2", {1.0, 1e2}},
    {Quantity::kRate, Core::kRadiansPerSecond, {1.0, 1.0}},
    {Quantity::kRate, "deg/s", {kPi, 180.0}},
    {Quantity::kRate, "\xC2\xB0/s", {kPi, 180.0}},
    {Quantity::kRate, "dps", {kPi, 180.0}},
    {Quantity::kRate, "mdps", {kPi, 180e3}},
    {Quantity::kRate, "mrad/s", {1.0, 1e3}},
    {Quantity::kField, Core::kMicrotesla, {1.0, 1.0}},
    {Quantity::kField, "\xC2\xB5T", {1.0, 1.0}},
    {Quantity::kField, "nT", {1.0, 1e3}},
    {Quantity::kField, "mT", {1e3, 1.0}},
    {Quantity::kField, "T", {1e6, 1.0}},
    {Quantity::kField, "G", {1e2, 1.0}},
    {Quantity::kField, "gauss", {1e2, 1.0}},
    {Quantity::kField, "mG", {1.0, 1e1}},
    {Quantity::kAngle, Core::kRadians, {1.0, 1.0}},
    {Quantity::kAngle, Core::kDegrees, {kPi, 180.0}},
    {Quantity::kAngle, "\xC2\xB0", {kPi, 180.0}},
};

/// Other ways in which units are written.
struct Spelling {
    std::string_view written;
    std::string_view unit;
};
constexpr Spelling kSpellings[] = {{"m/(s^2)", "m/s^2"},
                                   {"m/s**2", "m/s^2"},
                                   {"m*s^-2", "m/s^2"},
                                   {"m s^-2", "m/s^2"},
                                   {"ms^-2", "m/s^2"},
                                   {"m/sec^2", "m/s^2"},
                                   {"m/(sec^2)", "m/s^2"},
                                   {"m/(s*s)", "m/s^2"},
                                   {"m/sec2", "m/s^2"},
                                   {"m s-2", "m/s^2"},
                                   {"m.s-2", "m/s^2"},
                                   {"m.s^-2", "m/s^2"},
                                   {"mps2", "m/s^2"},
                                   {"mps^2", "m/s^2"},
                                   {"meters/sec^2", "m/s^2"},
                                   {"meters/s^2", "m/s^2"},
                                   {"meters/second^2", "m/s^2"},
                                   {"gs", "g"},
                                   {"g's", "g"},
                                   {"g-force", "g"},
                                   {"milli-g", "mg"},
                                   {"rad/sec", "rad/s"},
                                   {"rads/s", "rad/s"},
                                   {"rad s^-1", "rad/s"},
                                   {"rad s-1", "rad/s"},
                                   {"rad.s^-1", "rad/s"},
                                   {"radians/s", "rad/s"},
                                   {"radians/sec", "rad/s"},
                                   {"deg s^-1", "deg/s"},
                                   {"deg s-1", "deg/s"},
                                   {"degree/second", "deg/s"},
                                   {"degrees/second", "deg/s"},
                                   {"\xC2\xBA/s", "deg/s"},
                                   {"mdeg/s", "mdps"},
                                   {"deg/sec", "deg/s"},
                                   {"degrees/s", "deg/s"},
                                   {"degree/s", "deg/s"},
                                   {"degs/s", "deg/s"},
                                   {"degrees/sec", "deg/s"},
                                   {"\xC2\xB0/sec", "deg/s"},
                                   {"microtesla", "uT"},
                                   {"utesla", "uT"},
                                   {"microT", "uT"},
                                   {"\xCE\xBCT", "uT"},
                                   {"mGauss", "mG"},
                                   {"milligauss", "mG"},
                                   {"nanotesla", "nT"},
                                   {"second", "s"},
                                   {"secs", "s"},
                                   {"msec", "ms"},
                                   {"msecs", "ms"},
                                   {"millis", "ms"},
                                   {"milliseconds", "ms"},
                                   {"usec", "us"},
                                   {"micros", "us"},
                                   {"microseconds", "us"},
                                   {"\xCE\xBCs", "us"},
                                   {"nsec", "ns"},
                                   {"nanoseconds", "ns"},
                                   {"degree", "deg"},
                                   {"degrees", "deg"},
                                   {"radians", "rad"},
                                   {"tesla", "T"},
                                   // In Latin-1, as spreadsheets write them.
                                   {"m/s\xB2", "m/s^2"},
                                   {"\xB0/s", "deg/s"},
                                   {"\xB0/sec", "deg/s"},
                                   {"\xB0", "deg"},
                                   {"\xB5T", "uT"},
                                   {"\xB5s", "us"}};

}  // namespace

std::optional<Unit> findUnit(Quantity quantity, std::string_view name) {
    for (const Spelling& spelling : kSpellings) {
        if (equalsIgnoringCase(spelling.written, name)) name = spelling.unit;
    }
    for (const NamedUnit& candidate : kUnits) {
        if (candidate.quantity == quantity && equalsIgnoringCase(candidate.name, name)) return candidate.unit;
    }
    return std::nullopt;
}

std::string_view baseUnit(Quantity quantity) {
    const auto found = std::ranges::find(kUnits, quantity, &NamedUnit::quantity);
    return found == std::end(kUnits) ? "" : found->name;
}

std::string_view quantityName(Quantity quantity) {
    static constexpr std::string_view kNames[] = {"time",           Core::kAccelerationName, Core::kRateName,
                                                  Core::kFieldName, Core::kAngleName,        ""};
    return kNames[static_cast<std::size_t>(quantity)];
}

std::string unitNames(Quantity quantity) {
    std::vector<std::string_view> names;
    for (const NamedUnit& candidate : kUnits)
        if (candidate.quantity == quantity) names.push_back(candidate.name);
    return fmt::format("{}", fmt::join(names, ", "));
}

}  // namespace Kavelin::RecordingIO
