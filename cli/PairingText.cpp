#include "cli/PairingText.h"

#include <Kavelin/Core/AbstractInputPin.h>

#include <cstdio>

#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

std::string seconds(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.4g s", value);
    return text;
}

}  // namespace

std::string differenceText(const std::string& filter, const Core::PairingReport& pairing) {
    const std::string most = seconds(pairing.largestDifference) + " at most";
    const std::string step = "usual step " + seconds(pairing.interval);
    if (pairing.unlike == 0)
        return filter + ": time stamps of samples taken together differ by " + most + " (" + step + ")";
    return filter + " takes one sample of each input, but their time stamps do not match: " +
           std::to_string(pairing.unlike) + " of " + RecordingIO::counted(pairing.sets, "set") +
           " differ by more than half a sample interval, by " + most + ", at " + seconds(pairing.at) + " (" +
           step + "). Bring the inputs onto one clock with a FilterResampler before this filter";
}

bool isMostlyUnpaired(const Core::Filter& filter, const Core::PairingReport& pairing) {
    std::size_t inputs = 0, without = 0;
    for (const Core::AbstractInputPin* pin : filter.getInputPins())
        if (pin->getIsPaired() && pin->getConnectedOutput() != nullptr) ++inputs;
    for (const Core::PairingReport::Unpaired& one : pairing.unpaired)
        if (one.count > pairing.sets) ++without;
    return inputs > 1 && without == inputs;
}

std::string unpairedText(const std::string& filter, const Core::PairingReport& pairing, bool mostly) {
    std::string pins;
    for (const Core::PairingReport::Unpaired& one : pairing.unpaired)
        pins += (pins.empty() ? "" : ", ") + std::to_string(one.count) + " of " + one.pin;
    return filter + ": samples without a partner: " + pins +
           (mostly ? ". Their clocks do not agree; the property Shift of a FilterResampler moves one" : "");
}

std::string misfitText(const Core::AbstractInputPin& pin) {
    return pin.fullName() + " takes " + pin.shapesTaken() + ": " + std::to_string(pin.getMisfits()) + " of " +
           RecordingIO::counted(pin.getConsumed(), "sample") + " had another shape and were not used";
}

}  // namespace Kavelin::Cli
