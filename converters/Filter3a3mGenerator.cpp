#include "converters/Filter3a3mGenerator.h"

#include "converters/computers/DirectionSynthesis.h"

namespace Kavelin::OrientationInternal {

Filter3a3mGenerator::Filter3a3mGenerator(const std::string& name) : Filter(name, true) {}

void Filter3a3mGenerator::process() {
    if (!yaw_.fetch() || !pitch_.fetch() || !roll_.fetch()) return;  // what was fetched stays held
    yaw_.consume();
    pitch_.consume();
    roll_.consume();
    if (yaw_.value().size() != 1 || pitch_.value().size() != 1 || roll_.value().size() != 1) return;

    const SynthesizedDirections directions =
        synthesizeDirections({yaw_.value()(0), pitch_.value()(0), roll_.value()(0)});
    acc_.value() = directions.acc.transpose();
    mag_.value() = directions.mag.transpose();
    acc_.send(yaw_.lastTimeStamp());
    mag_.send(yaw_.lastTimeStamp());
}

}  // namespace Kavelin::OrientationInternal
