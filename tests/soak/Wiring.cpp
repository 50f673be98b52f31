#include "soak/Wiring.h"

#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/Synchronizer.h>

#include <string>

namespace Kavelin::Soak {

using Core::AbstractInputPin;
using Core::AbstractOutputPin;
using Core::PinCounts;
using Core::Synchronizer;

Tap::Tap(AbstractOutputPin& output)
    : Pin(output.getName(), nullptr), Core::InputPin<Core::Matrix>(output.getName(), nullptr) {
    output.attachInput(*this, false);
}

void Wiring::add(std::size_t index, Core::Filter& filter) {
    for (AbstractInputPin* input : filter.getInputPins()) wires_.push_back({.reader = index, .input = input});
    for (AbstractOutputPin* output : filter.getOutputPins()) {
        outputs_.push_back({index, output});
        taps_[output] = std::make_unique<Tap>(*output);
    }
}

/// The connections themselves end with the pins.
void Wiring::remove(std::size_t index) {
    for (const Wire& wire : wires_)
        if (wire.reader == index) retired_ += wire.input->getCounts();
    std::erase_if(wires_, [index](const Wire& wire) { return wire.reader == index; });
    for (const Output& output : outputs_) {
        if (output.writer != index) continue;
        retiredSent_ += taps_.at(output.pin)->sent();
        taps_.erase(output.pin);
        for (Wire& wire : wires_)
            if (wire.output == output.pin) wire.output = nullptr;
    }
    std::erase_if(outputs_, [index](const Output& output) { return output.writer == index; });
}

void Wiring::connect(Wire& wire, AbstractOutputPin& output, const Core::ConnectionOptions& options) {
    // Held around all of it, so that nothing is sent between a count and the change.
    const Synchronizer::DisablerLocker locker(output.getSynchronizer(), wire.input->getSynchronizer());
    wire.putBefore = wire.input->getCounts().put;
    wire.sentBefore = taps_.at(&output)->sent();
    Core::connect(output, *wire.input, options);
    wire.output = &output;
    counts_.connects.fetch_add(1);
}

void Wiring::disconnect(Wire& wire) {
    if (wire.output == nullptr) return;
    const Synchronizer::DisablerLocker locker(wire.output->getSynchronizer(), wire.input->getSynchronizer());
    const std::uint64_t sent = taps_.at(wire.output)->sent();
    Core::disconnect(*wire.input);
    checkSent(wire, sent, wire.input->getCounts(), "when it was disconnected");
    wire.output = nullptr;
    counts_.disconnects.fetch_add(1);
}

void Wiring::disconnectAll() {
    for (Wire& wire : wires_) disconnect(wire);
}

void Wiring::checkSent(const Wire& wire, std::uint64_t sent, const PinCounts& counts, const char* when) {
    counts_.checks.fetch_add(1);
    const std::string place = wire.output->fullName() + " to " + wire.input->fullName() + ", " + when;
    if (sent - wire.sentBefore != counts.put - wire.putBefore)
        failures_.add(place + ": sent " + std::to_string(sent - wire.sentBefore) + ", put " +
                      std::to_string(counts.put - wire.putBefore));
    if (counts.put != counts.taken + counts.dropped + counts.discarded + counts.buffered)
        failures_.add(place + ": put " + std::to_string(counts.put) + ", taken " +
                      std::to_string(counts.taken) + ", dropped " + std::to_string(counts.dropped) +
                      ", discarded " + std::to_string(counts.discarded) + ", buffered " +
                      std::to_string(counts.buffered));
    if (wire.input->getConsumed() + wire.input->getPassedOver() > counts.taken)
        failures_.add(place + ": more samples were used than taken");
}

void Wiring::checkAll() {
    for (const Wire& wire : wires_)
        if (wire.output) checkSent(wire, taps_.at(wire.output)->sent(), wire.input->getCounts(), "at rest");
}

PinCounts Wiring::totals() const {
    PinCounts totals = retired_;
    for (const Wire& wire : wires_) totals += wire.input->getCounts();
    return totals;
}

std::uint64_t Wiring::sent() const {
    std::uint64_t sent = retiredSent_;
    for (const auto& [output, tap] : taps_) sent += tap->sent();
    return sent;
}

}  // namespace Kavelin::Soak
