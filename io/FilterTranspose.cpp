#include "io/FilterTranspose.h"

#include <Poco/Exception.h>

namespace Kavelin::RecordingIO {

FilterTranspose::FilterTranspose(const std::string& name) : Filter(name, true) {}

Core::AbstractInputPin* FilterTranspose::demandInputPin(const std::string& pinName) {
    if (pinName.empty()) throw Poco::InvalidArgumentException("A pin needs a name");
    return &lanes_.emplace_back(std::make_unique<Lane>(pinName, this))->in;
}

void FilterTranspose::process() {
    for (const auto& lane : lanes_) {
        if (!lane->in.readNext()) continue;
        lane->out.value() = lane->in.value().transpose();
        lane->out.send(lane->in.lastTimeStamp());
    }
}

}  // namespace Kavelin::RecordingIO
