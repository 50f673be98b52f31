#include "cli/SimulateFaults.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "attitude/rotation/AngleConstants.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

using OrientationInternal::kRadiansToDegrees;
using RecordingIO::FaultOptions;
using RecordingIO::Matrix3;
using RecordingIO::SensorFault;
using RecordingIO::splitCells;
using RecordingIO::Vector3;

const double kGravityUnit = 9.80665;  // m/s^2
const std::string_view kAxisNames = "xyz";

[[noreturn]] void refuse(const std::string& option, const std::string& form, const std::string& text) {
    throw CLI::ValidationError(option, "takes " + form + "; this is '" + text + "'");
}

/// @return the numbers of "1,2,3"; none when one of them is not finite or not a number.
std::vector<double> numbersOf(const std::string& text) {
    std::vector<double> numbers;
    for (const std::string& cell : splitCells(text, ',')) {
        double number = 0.0;
        const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), number);
        if (error != std::errc() || end != cell.data() + cell.size() || !std::isfinite(number)) return {};
        numbers.push_back(number);
    }
    return numbers;
}

/// Adds options that share a group and are given as text.
class Adder {
public:
    Adder(CLI::App& command, std::string group) : command_(command), group_(std::move(group)) {}

    using Take = std::function<void(const std::string& option, const std::string& text)>;
    void add(const std::string& option, const std::string& type, const std::string& help, Take take) {
        command_
            .add_option_function<std::string>(
                option, [option, take](const std::string& text) { take(option, text); }, help)
            ->type_name(type)
            ->group(group_);
    }
    /// The same of an option that may be repeated.
    void addEach(const std::string& option, const std::string& type, const std::string& help, Take take) {
        command_
            .add_option_function<std::vector<std::string>>(
                option,
                [option, take](const std::vector<std::string>& texts) {
                    for (const std::string& text : texts) take(option, text);
                },
                help)
            ->type_name(type)
            ->allow_extra_args(false)
            ->group(group_);
    }
    void addVector(const std::string& option, const std::string& type, const std::string& help,
                   Vector3& value) {
        add(option, type, help, [&value, type](const std::string& name, const std::string& text) {
            const std::vector<double> numbers = numbersOf(text);
            if (numbers.size() != 3) refuse(name, "three numbers, " + type, text);
            value = Vector3(numbers.data());
        });
    }
    void addNumber(const std::string& option, const std::string& type, double& value,
                   const std::string& help) {
        command_.add_option(option, value, help)->type_name(type)->group(group_);
    }
    void addUnit(const std::string& option, const std::string& unit, const std::string& wrong, double factor,
                 const std::string& help, SensorFault& sensor) {
        command_
            .add_option_function<std::string>(
                option,
                [&sensor, wrong, factor](const std::string& name) {
                    sensor.factor = name == wrong ? factor : 1.0;
                },
                help)
            ->check(CLI::IsMember({unit, wrong}).description(""))
            ->type_name(unit + "|" + wrong)
            ->group(group_);
    }

private:
    CLI::App& command_;
    std::string group_;
};

/// "y,-x,z": which axes of the flawless sensor, with which sign, become x, y and z.
Matrix3 mountingOf(const std::string& option, const std::string& text) {
    Matrix3 mounting = Matrix3::Zero();
    const std::vector<std::string> names = splitCells(text, ',');
    for (std::size_t row = 0; row < names.size() && names.size() == 3; ++row) {
        const bool isNegative = names[row].starts_with('-');
        const std::string axis = names[row].substr(isNegative ? 1 : 0);
        const std::size_t column = axis.size() == 1 ? kAxisNames.find(axis) : std::string_view::npos;
        if (column == std::string_view::npos) break;
        mounting(static_cast<Eigen::Index>(row), static_cast<Eigen::Index>(column)) = isNegative ? -1.0 : 1.0;
    }
    if (std::abs(std::abs(mounting.determinant()) - 1.0) > 0.5) {
        refuse(option, "x, y and z in some order, each once, with or without a minus", text);
    }
    return mounting;
}

/// "gyro" or "gyro:xz".
void failAxes(FaultOptions& faults, SensorFault::Axis state, const std::string& option,
              const std::string& text) {
    const std::size_t colon = text.find(':');
    const std::string sensor = text.substr(0, colon);
    const std::string axes = colon == std::string::npos ? std::string(kAxisNames) : text.substr(colon + 1);
    SensorFault* fault = sensor == "acc"    ? &faults.acceleration
                         : sensor == "gyro" ? &faults.rate
                         : sensor == "mag"  ? &faults.field
                                            : nullptr;
    const bool areAxes = !axes.empty() && axes.find_first_not_of(kAxisNames) == std::string::npos;
    if (!fault || !areAxes) refuse(option, "acc, gyro or mag, with or without axes, such as gyro:xz", text);
    for (const char axis : axes) fault->axes[kAxisNames.find(axis)] = state;
}

/// "0.1" or "0.1,0,-0.05".
Vector3 scaleOf(const std::string& option, const std::string& text) {
    const std::vector<double> numbers = numbersOf(text);
    if (numbers.size() == 1) return Vector3::Constant(numbers[0]);
    if (numbers.size() != 3) refuse(option, "one share, or three, X,Y,Z", text);
    return Vector3(numbers.data());
}

/// "0.2" stretches x and shrinks y by that share; "XX,YY,ZZ,XY,XZ,YZ" is the whole symmetric matrix.
Matrix3 softIronOf(const std::string& option, const std::string& text) {
    const std::vector<double> n = numbersOf(text);
    Matrix3 iron = Matrix3::Identity();
    if (n.size() == 1) {
        iron(0, 0) += n[0];
        iron(1, 1) -= n[0];
    } else if (n.size() == 6) {
        iron << n[0], n[3], n[4], n[3], n[1], n[5], n[4], n[5], n[2];
    } else {
        refuse(option, "one share, or six numbers, XX,YY,ZZ,XY,XZ,YZ", text);
    }
    return iron;
}

void addFieldFaults(Adder& to, FaultOptions& faults) {
    to.addVector("--hard-iron", "X,Y,Z", "Field of the unit itself, uT", faults.hardIron);
    to.add("--soft-iron", "SHARE|MATRIX",
           "Share by which the field's x is stretched and its y shrunk, or a matrix, XX,YY,ZZ,XY,XZ,YZ",
           [&faults](const auto& option, const auto& text) { faults.softIron = softIronOf(option, text); });
    to.addVector("--magnet", "E,N,U", "Field of a magnet nearby, East, North, Up, uT", faults.magnet);
    to.addNumber("--magnet-from", "S", faults.magnetFrom, "Time at which it comes, s; 0 if not given");
    to.addNumber("--magnet-to", "S", faults.magnetTo, "Time at which it goes, s; at the end if not given");
}

std::string inCapitals(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

void addSensorFault(Adder& to, const std::string& sensor, const std::string& unit, SensorFault& fault) {
    to.add("--" + sensor + "-axes", "X,Y,Z",
           "Which axes leave the sensor as x, y and z: y,x,z swaps two, --" + sensor +
               "-axes=-x,y,z negates one",
           [&fault](const auto& option, const auto& text) { fault.mounting = mountingOf(option, text); });
    to.addNumber("--" + sensor + "-range", inCapitals(unit), fault.range,
                 "Greatest value that an axis shows, " + unit);
}

}  // namespace

void addFaultOptions(CLI::App& command, FaultOptions& faults) {
    Adder to(command, "Faults");
    to.addVector("--gyro-offset", "X,Y,Z", "Bias on top of --gyro-bias, rad/s", faults.gyroOffset);
    to.add("--gyro-scale", "SHARE|X,Y,Z", "Share by which the rates are too large, of all axes or each",
           [&faults](const auto& option, const auto& text) { faults.gyroScale = scaleOf(option, text); });
    addFieldFaults(to, faults);
    addSensorFault(to, "acc", "m/s^2", faults.acceleration);
    addSensorFault(to, "gyro", "rad/s", faults.rate);
    addSensorFault(to, "mag", "uT", faults.field);
    to.addUnit("--acc-unit", "m/s^2", "g", 1.0 / kGravityUnit,
               "Unit in which the acceleration is written; the header does not tell", faults.acceleration);
    to.addUnit("--gyro-unit", "rad/s", "deg/s", kRadiansToDegrees,
               "Unit in which the rates are written; the header does not tell", faults.rate);
    to.addEach("--dead", "SENSOR[:AXES]", "Sensor that shows 0: acc, gyro, mag, or gyro:xz; may be repeated",
               [&faults](const auto& option, const auto& text) {
                   failAxes(faults, SensorFault::Axis::kDead, option, text);
               });
    to.addEach("--stuck", "SENSOR[:AXES]", "Sensor that keeps showing one value; may be repeated",
               [&faults](const auto& option, const auto& text) {
                   failAxes(faults, SensorFault::Axis::kStuck, option, text);
               });
    to.addNumber("--fail-from", "S", faults.failFrom,
                 "Time from which these are dead or stuck, s; 0 if not given");
    to.addNumber("--gap", "S", faults.gap, "Length of each gap, in which all rows are lost, s; 0: none");
    to.addNumber("--gap-every", "S", faults.gapEvery,
                 "Time from a gap's end to the next, s; 10 if not given");
}

}  // namespace Kavelin::Cli
