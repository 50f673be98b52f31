#include "cli/PairingText.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <fmt/format.h>

#include "io/recording/Text.h"

namespace Kavelin::Cli {

std::string differenceText(const std::string& filter, const Core::PairingReport& pairing) {
    const std::string most = fmt::format("{:.4g} s at most", pairing.largestDifference);
    const std::string step = fmt::format("(usual step {:.4g} s)", pairing.interval);
    if (pairing.unlike == 0)
        return fmt::format("{}: time stamps of samples taken together differ by {} {}", filter, most, step);
    return fmt::format(
        "{} takes one sample of each input, but their time stamps do not match: {} of {} differ by more "
        "than half a sample interval, by {}, at {:.4g} s {}. Bring the inputs onto one clock with a "
        "FilterResampler before this filter",
        filter, pairing.unlike, RecordingIO::counted(pairing.sets, "set"), most, pairing.at, step);
}

bool isMostlyUnpaired(const Core::Filter& filter, const Core::PairingReport& pairing) {
    std::size_t inputs = 0, without = 0;
    for (const Core::AbstractInputPin* pin : filter.getInputPins())
        if (pin->getIsPaired() && pin->getConnectedOutput() != nullptr) ++inputs;
    for (const Core::PairingReport::Unpaired& one : pairing.unpaired)
        if (one.count > pairing.sets) ++without;
    return inputs > 1 && (without == inputs || (pairing.sets == 0 && !pairing.unpaired.empty()));
}

std::string unpairedText(const std::string& filter, const Core::PairingReport& pairing, bool mostly) {
    std::vector<std::string> pins;
    for (const auto& [pin, count] : pairing.unpaired) pins.push_back(fmt::format("{} of {}", count, pin));
    std::string remedy;
    if (mostly && pins.size() == 1)
        remedy = ". No set was complete";
    else if (mostly)
        remedy = ". Their clocks do not agree; the property Shift of a FilterResampler moves one";
    return fmt::format("{}: samples without a partner: {}{}", filter, fmt::join(pins, ", "), remedy);
}

std::string misfitText(const Core::AbstractInputPin& pin) {
    return fmt::format("{} takes {}: {} of {} had another shape and were not used", pin.fullName(),
                       pin.shapesTaken(), pin.getMisfits(),
                       RecordingIO::counted(pin.getConsumed(), "sample"));
}

}  // namespace Kavelin::Cli
