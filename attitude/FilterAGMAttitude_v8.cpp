#include "attitude/FilterAGMAttitude_v8.h"

#include <cmath>

namespace Kavelin::OrientationInternal {

FilterAGMAttitude_v8::FilterAGMAttitude_v8(const std::string& name)
    : FilterAGMAttitude_v8(name, new AGMComputer_v8) {}

FilterAGMAttitude_v8::FilterAGMAttitude_v8(const std::string& name, AGMComputer_v8* computer)
    : FilterAGMBase(name, "./FILTER/AGMAttitude_v8.par", kSensorToEarth,
                    std::unique_ptr<AGMEstimator>(computer)),
      computer_(*computer) {}

void FilterAGMAttitude_v8::takeFurther() {
    while (lock_.readNext()) {
        const Matrix& lock = lock_.value();
        if (lock.size() == 1 && !std::isnan(lock(0, 0))) lockedByPin_ = lock(0, 0) != 0.0;
    }
    while (quat0_.readNext()) {
        if (quat0_.fits()) computer_.setNextAttitude(quat0_.value().transpose());
    }
    computer_.setLocked(lockedByPin_ || lockedByHand_.get());
}

void FilterAGMAttitude_v8::sendFurther(double t) {
    attitudeQ_.value() = estimate().q_ref_sensor.transpose();
    bias_.value() = computer_.bias().transpose();
    restFlag_.value()(0, 0) = computer_.atRest() ? 1.0 : 0.0;
    lockFlag_.value()(0, 0) = computer_.locked() ? 1.0 : 0.0;
    innovation_.value() = computer_.innovation().transpose();
    attitudeQ_.send(t);
    bias_.send(t);
    restFlag_.send(t);
    lockFlag_.send(t);
    innovation_.send(t);
}

}  // namespace Kavelin::OrientationInternal
