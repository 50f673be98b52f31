#include "io/FilterDegrees.h"

#include <Poco/Exception.h>

#include "attitude/rotation/AngleConstants.h"

namespace Kavelin::RecordingIO {

FilterDegrees::FilterDegrees(const std::string& name) : Filter(name, true) {}

Core::AbstractInputPin* FilterDegrees::demandInputPin(const std::string& pinName) {
    if (pinName.empty()) throw Poco::InvalidArgumentException("A pin needs a name");
    return &lanes_.emplace_back(std::make_unique<Lane>(pinName, this))->in;
}

void FilterDegrees::process() {
    for (const auto& lane : lanes_) {
        while (lane->in.readNext()) {
            lane->out.value() = lane->in.value() * OrientationInternal::kRadiansToDegrees;
            lane->out.send(lane->in.lastTimeStamp());
        }
    }
}

}  // namespace Kavelin::RecordingIO
