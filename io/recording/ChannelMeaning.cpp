#include "io/recording/ChannelMeaning.h"

#include <Poco/Exception.h>

#include <algorithm>

namespace Kavelin::RecordingIO {

namespace {

Unit unitOfAnyQuantity(const std::string& name) {
    for (const Quantity quantity :
         {Quantity::kAngle, Quantity::kRate, Quantity::kAcceleration, Quantity::kField, Quantity::kTime}) {
        if (const auto unit = findUnit(quantity, name)) return *unit;
    }
    return {};
}

}  // namespace

Quantity quantityOfPin(std::string_view pin) {
    if (pin == "t") return Quantity::kTime;
    if (pin == "3a") return Quantity::kAcceleration;
    if (pin == "3g" || pin == "omega_t") return Quantity::kRate;
    if (pin == "3m") return Quantity::kField;
    return Quantity::kNone;
}

Unit unitOfPin(const std::string& pin, const std::string& name, std::vector<std::string>& notes) {
    const Quantity quantity = quantityOfPin(pin);
    if (name.empty()) return {};
    if (quantity == Quantity::kNone) return unitOfAnyQuantity(name);
    if (const auto unit = findUnit(quantity, name)) return *unit;
    if (quantity != Quantity::kField) {
        throw Poco::DataFormatException("'" + name + "' is not a unit for pin '" + pin +
                                        "'; known units: " + unitNames(quantity));
    }
    notes.push_back("the field's unit '" + name + "' is not known: its values pass unchanged");
    return {};
}

void turnChannel(Channel& channel, const TableForm& form, const AxesChoice& axes) {
    if (channel.pin == "quat") {
        channel.earth = form.earth;
        if (axes.all != AxisChoice()) {
            const std::array<double, 4> turn = turnOf(axes.all);
            channel.turn.assign(turn.begin(), turn.end());
        }
    }
    const bool isSensor = channel.pin == "3a" || channel.pin == "3g" || channel.pin == "3m";
    AxisChoice choice = axes.of(channel.pin);
    if (std::ranges::find(form.inverted, channel.pin) != form.inverted.end()) {
        for (double& sign : choice.sign) sign = -sign;
    }
    if (!isSensor || channel.size() != 3 || choice == AxisChoice()) return;
    const std::vector<std::size_t> columns = channel.columns;
    for (std::size_t i = 0; i < 3; ++i) channel.columns[i] = columns[choice.from[i]];
    channel.signs.assign(choice.sign.begin(), choice.sign.end());
}

}  // namespace Kavelin::RecordingIO
