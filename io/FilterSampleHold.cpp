#include "io/FilterSampleHold.h"

#include <Kavelin/Core/Names.h>
#include <Poco/Exception.h>

#include <algorithm>

#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

FilterSampleHold::FilterSampleHold(const std::string& name) : Filter(name, true) {}

Core::AbstractInputPin* FilterSampleHold::demandInputPin(const std::string& pinName) {
    if (pinName.empty()) throw Poco::InvalidArgumentException("A pin needs a name");
    stale_ = true;
    return &lanes_.emplace_back(std::make_unique<Lane>(pinName, this))->in;
}

void FilterSampleHold::findClock() {
    stale_ = false;
    const auto found = std::find_if(lanes_.begin(), lanes_.end(), [this](const auto& lane) {
        return lane->in.getName() == clockName_.value();
    });
    clock_ = found == lanes_.end() ? nullptr : found->get();
}

void FilterSampleHold::checkRun() {
    findClock();
    if (clock_ != nullptr) return;
    throw Poco::InvalidArgumentException(
        (clockName_.get().empty()
             ? "Clock is to name the pin whose samples send the others"
             : "no connection leads to the pin '" + clockName_.get() + "' that Clock names") +
        "; its pins are: " + listed(Core::namesOf(getInputPins())));
}

void FilterSampleHold::process() {
    if (stale_) findClock();
    for (const auto& lane : lanes_) {
        while (lane.get() != clock_ && lane->in.readNext()) {
            lane->out.value() = lane->in.value();
            lane->isNew = true;
        }
    }
    if (clock_ == nullptr || !clock_->in.readNext()) return;
    clock_->out.value() = clock_->in.value();
    clock_->isNew = true;
    sendAll(clock_->in.lastTimeStamp());
}

void FilterSampleHold::sendAll(double t) {
    const bool repeats = repeat_.value();
    const bool hasAll =
        std::all_of(lanes_.begin(), lanes_.end(), [](const auto& lane) { return lane->in.hasValue(); });
    if (repeats && !hasAll) return;
    for (const auto& lane : lanes_) {
        if (repeats || lane->isNew) lane->out.send(t);
        lane->isNew = false;
    }
}

}  // namespace Kavelin::RecordingIO
