#include "converters/FilterInclinometer.h"

#include "converters/computers/InclinationAngles.h"

namespace Kavelin::OrientationInternal {

FilterInclinometer::FilterInclinometer(const std::string& name) : Filter(name, true) {}

void FilterInclinometer::process() {
    if (!acc_.readNext()) return;
    if (!acc_.fits()) return;
    double pitch = 0.0;
    double roll = 0.0;
    if (!inclinationAngles(Eigen::Vector3d::Map(acc_.value().data()), pitch, roll)) return;
    pitch_.value()(0, 0) = pitch;
    roll_.value()(0, 0) = roll;
    pitch_.send(acc_.lastTimeStamp());
    roll_.send(acc_.lastTimeStamp());
}

}  // namespace Kavelin::OrientationInternal
