#include "io/PinOrigin.h"

namespace Kavelin::RecordingIO {

using Core::AbstractInputPin;
using Core::AbstractOutputPin;

namespace {

constexpr int kMostSteps = 16;  // connections may lead in a circle

}  // namespace

const Core::Filter* ownerOf(const AbstractOutputPin* pin) {
    return pin == nullptr ? nullptr : dynamic_cast<const Core::Filter*>(pin->getManager());
}

const AbstractOutputPin* originOf(const AbstractInputPin& input) {
    const AbstractOutputPin* source = input.getConnectedOutput();
    for (int step = 0; step < kMostSteps && source != nullptr; ++step) {
        const AbstractInputPin* before = source->getHandsOn();
        if (before == nullptr || before->getConnectedOutput() == nullptr) break;
        source = before->getConnectedOutput();
    }
    return source;
}

}  // namespace Kavelin::RecordingIO
