#include "attitude/FilterAGMAttitude_v5.h"

namespace Kavelin::OrientationInternal {

FilterAGMAttitude_v5::FilterAGMAttitude_v5(const std::string& name)
    : FilterAGMBase(name, "./FILTER/AGMAttitude_v5.par", kSensorToStart,
                    std::make_unique<AGMComputer>(std::make_unique<ProblemAGM>(), kAGMVariant5)) {}

}  // namespace Kavelin::OrientationInternal
