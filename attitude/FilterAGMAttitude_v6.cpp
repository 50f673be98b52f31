#include "attitude/FilterAGMAttitude_v6.h"

namespace Kavelin::OrientationInternal {

FilterAGMAttitude_v6::FilterAGMAttitude_v6(const std::string& name)
    : FilterAGMBase(name, "./FILTER/AGMAttitude_v6.par", kSensorToStart,
                    std::make_unique<AGMComputer>(std::make_unique<ProblemAGM>(), kAGMVariant6)) {}

void FilterAGMAttitude_v6::sendFurther(double t) {
    attitudeQ_.value() = estimate().q_ref_sensor.transpose();
    attitudeQ_.send(t);
}

}  // namespace Kavelin::OrientationInternal
