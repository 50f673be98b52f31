#include "attitude/FilterAGMAttitude_v7.h"

namespace Kavelin::OrientationInternal {

FilterAGMAttitude_v7::FilterAGMAttitude_v7(const std::string& name)
    : FilterAGMBase(name, "./FILTER/AGMAttitude_v7.par", kSensorToStart, std::make_unique<AGMComputer_v7>()) {
}

void FilterAGMAttitude_v7::sendFurther(double t) {
    attitudeQ_.value() = estimate().q_ref_sensor.transpose();
    attitudeQ_.send(t);
}

}  // namespace Kavelin::OrientationInternal
