#include "cli/plot/PlottedPin.h"

#include <Kavelin/Typed/Contents.h>
#include <fmt/format.h>

#include "attitude/rotation/AngleConstants.h"
#include "attitude/rotation/Euler.h"
#include "io/AttitudeSample.h"

namespace Kavelin::Cli {

namespace {

using OrientationInternal::kRadiansToDegrees;

constexpr std::size_t kMostElements = 9;  // drawn of a pin

struct UnitDrawn {
    std::string_view unit;
    std::string_view drawn;
    double factor;
};
constexpr UnitDrawn kUnitsDrawn[] = {{"rad", "degrees", kRadiansToDegrees},
                                     {"rad/s", "degrees/s", kRadiansToDegrees},
                                     {"deg", "degrees", 1.0},
                                     {"deg/s", "degrees/s", 1.0}};

UnitDrawn drawn(std::string_view unit) {
    for (const UnitDrawn& row : kUnitsDrawn)
        if (row.unit == unit) return row;
    return {unit, unit, 1.0};
}

/// "yaw", "pitch" and "roll" of "yaw, pitch, roll", and of "angles: yaw, pitch, roll".
std::vector<std::string> listedNames(std::string_view quantity) {
    if (const auto colon = quantity.find(": "); colon != std::string_view::npos)
        quantity.remove_prefix(colon + 2);
    std::vector<std::string> names;
    for (std::size_t comma; (comma = quantity.find(", ")) != std::string_view::npos;
         quantity.remove_prefix(comma + 2))
        names.emplace_back(quantity.substr(0, comma));
    names.emplace_back(quantity);
    return names;
}

}  // namespace

PlottedPin::PlottedPin(const PlotLine& line, const Core::PinContent& content)
    : line_(line), content_(content) {
    if (line_.label.empty()) line_.label = line.from.filter + ":" + line.from.element;
}

bool PlottedPin::isOrientation() const { return content_.quantity == Core::kOrientation; }

bool PlottedPin::isFlag() const { return content_.quantity == Core::kFlag.quantity; }

std::string PlottedPin::unit() const {
    return std::string(isOrientation() ? "degrees" : drawn(content_.unit).drawn);
}

std::string PlottedPin::quantity() const {
    return std::string(content_.quantity.substr(0, content_.quantity.find(':')));
}

std::vector<double> PlottedPin::valuesOf(const Core::Matrix& sample) const {
    if (isOrientation()) {
        const auto attitude = RecordingIO::attitudeOf(sample);
        if (!attitude) return {};
        const OrientationInternal::Vector3 angles =
            OrientationInternal::eulerZyx(*attitude) * kRadiansToDegrees;
        return {angles.data(), angles.data() + angles.size()};
    }
    const double factor = drawn(content_.unit).factor;
    if (line_.isNorm) return {sample.norm() * factor};
    std::vector<double> values(sample.data(), sample.data() + sample.size());
    for (double& value : values) value *= factor;
    return values;
}

std::vector<std::string> PlottedPin::namesFor(std::size_t count) const {
    if (isOrientation()) return {"yaw", "pitch", "roll"};
    if (std::vector<std::string> names = listedNames(content_.quantity); count > 1 && names.size() == count)
        return names;
    if (count == 3) return {"x", "y", "z"};
    std::vector<std::string> names;
    for (std::size_t i = 1; i <= count; ++i) names.push_back(std::to_string(i));
    return names;
}

void PlottedPin::start(std::size_t count) {
    if (count == 1 || line_.element > 0) {
        elements_.push_back({line_.label, {}, isFlag()});
        return;
    }
    for (const std::string& name : namesFor(count))
        if (elements_.size() < kMostElements) elements_.push_back({line_.label + " " + name, {}, isFlag()});
}

void PlottedPin::add(double t, const Core::Matrix& sample) {
    const std::vector<double> values = valuesOf(sample);
    if (values.empty() || line_.element > values.size()) return;
    if (elements_.empty()) start(values.size());
    const std::size_t first = line_.element > 0 ? line_.element - 1 : 0;
    for (std::size_t i = 0; i < elements_.size() && first + i < values.size(); ++i)
        elements_[i].trace.add(t, values[first + i]);
}

std::string plotMistake(const PlotLine& line, const Core::PinContent& content) {
    const std::string pin = line.from.filter + ":" + line.from.element;
    if (content.isWallClockStamped)
        return pin +
               " is stamped with the wall clock and cannot be drawn over the time of the recording; put a "
               "FilterSampleHold behind it";
    const bool isOrientation = content.quantity == Core::kOrientation;
    if (isOrientation && line.isNorm)
        return pin + " is an orientation, drawn as yaw, pitch and roll: it has no norm";
    const auto elements = isOrientation ? 3 : content.shape.rows * content.shape.cols;
    if (elements > 0 && line.element > elements)
        return fmt::format("{} has {} elements; there is no element {}", pin, elements, line.element);
    return {};
}

}  // namespace Kavelin::Cli
