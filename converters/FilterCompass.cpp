#include "converters/FilterCompass.h"

#include "converters/computers/CompassAngles.h"

namespace Kavelin::OrientationInternal {

FilterCompass::FilterCompass(const std::string& name) : Filter(name, true) {}

void FilterCompass::process() {
    if (!mag_.readNext()) return;
    if (!mag_.fits()) return;
    const CompassAngles angles = compassAngles(Eigen::Vector3d::Map(mag_.value().data()));
    out_.value() << angles.heading, angles.tilt, angles.norm;
    out_.send(mag_.lastTimeStamp());
}

}  // namespace Kavelin::OrientationInternal
