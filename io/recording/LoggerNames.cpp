#include "io/recording/LoggerNames.h"

#include <algorithm>

#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const std::string_view kAxes = "xyz";

/// The columns of x, y and z; empty where one is missing.
template <class NameOf>
std::vector<std::size_t> columnsOf(const TableForm& form, const NameOf& nameOf) {
    std::vector<std::size_t> found;
    for (const char axis : kAxes) {
        const std::string name = nameOf(axis);
        const auto column = std::ranges::find_if(
            form.columns, [&](const ColumnName& one) { return equalsIgnoringCase(one.name, name); });
        if (column == form.columns.end()) return {};
        found.push_back(static_cast<std::size_t>(column - form.columns.begin()));
    }
    return found;
}

void rename(TableForm& form, const std::vector<std::size_t>& columns, const std::string& quantity,
            const std::string& unit, const std::string& sensor) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
        ColumnName& column = form.columns[columns[i]];
        const std::string own = column.unit.empty() ? unit : column.unit;
        column = ColumnName(column.raw, quantity + " " + kAxes[i]);
        column.unit = own;
        column.sensor = sensor;
    }
}

/// "/imu/linear_acceleration/x" and "/imu/angular_velocity/x": the fields of one message.
struct RosMessage {
    std::string sensor;
    std::vector<std::size_t> accelerations;
    std::vector<std::size_t> rates;
};

std::vector<RosMessage> rosMessages(const TableForm& form) {
    const std::string acceleration = "linear_acceleration";
    std::vector<RosMessage> messages;
    for (const ColumnName& column : form.columns) {
        const std::size_t begin = column.name.find(acceleration);
        const std::size_t end = begin + acceleration.size();
        if (begin == std::string::npos || end + 2 != column.name.size() || column.name[end + 1] != 'x')
            continue;
        const std::string prefix = column.name.substr(0, begin);
        const char separator = column.name[end];
        const auto field = [&](const std::string& name) {
            return columnsOf(form, [&](char axis) { return prefix + name + separator + axis; });
        };
        RosMessage message{prefix, field(acceleration), field("angular_velocity")};
        if (message.accelerations.empty() || message.rates.empty()) continue;
        const std::string_view separators = "/._ ";
        message.sensor.erase(message.sensor.find_last_not_of(separators) + 1);
        message.sensor.erase(0, message.sensor.find_first_not_of(separators));
        messages.push_back(std::move(message));
    }
    return messages;
}

void takeRos(TableForm& form) {
    const std::vector<RosMessage> messages = rosMessages(form);
    for (const RosMessage& message : messages) {
        const std::string sensor = messages.size() > 1 ? message.sensor : std::string();
        rename(form, message.accelerations, "Accelerometer", "", sensor);
        rename(form, message.rates, "Gyroscope", "", sensor);
    }
    if (!messages.empty()) form.decisions.emplace_back("linear_acceleration includes gravity, as ROS has it");
}

void takePhysicsToolbox(TableForm& form) {
    const std::vector<std::size_t> forces =
        columnsOf(form, [](char axis) { return std::string("gF") + axis; });
    if (forces.empty()) return;
    for (const std::size_t column : columnsOf(form, [](char axis) { return std::string("a") + axis; }))
        form.columns[column] = ColumnName(form.columns[column].raw, "");
    rename(form, forces, "Accelerometer", "g", "");
    form.decisions.emplace_back("acceleration from gFx in g: ax is without gravity");
}

void takeSensorLog(TableForm& form) {
    const std::vector<std::size_t> accelerations =
        columnsOf(form, [](char axis) { return std::string("accelerometerAcceleration") + axis; });
    if (accelerations.empty() || lowered(form.columns[accelerations.front()].unit) != "g") return;
    form.inverted.emplace_back("3a");
    form.decisions.emplace_back("iOS: acceleration in g, sign turned");
}

}  // namespace

void writeOutNames(TableForm& form) {
    takeRos(form);
    takePhysicsToolbox(form);
    takeSensorLog(form);
}

}  // namespace Kavelin::RecordingIO
