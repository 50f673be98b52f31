#include "converters/Filter3a3mGenerator.h"

#include "converters/computers/DirectionSynthesis.h"

namespace Kavelin::OrientationInternal {

Filter3a3mGenerator::Filter3a3mGenerator(const std::string& name) : Filter(name, true) {}

void Filter3a3mGenerator::process() {
    if (!takeTogether(yaw_, pitch_, roll_) || !allFit(yaw_, pitch_, roll_)) return;
    const SynthesizedDirections directions =
        synthesizeDirections({yaw_.value()(0), pitch_.value()(0), roll_.value()(0)});
    acc_.value() = directions.acc.transpose();
    mag_.value() = directions.mag.transpose();
    acc_.send(yaw_.lastTimeStamp());
    mag_.send(yaw_.lastTimeStamp());
}

}  // namespace Kavelin::OrientationInternal
