#include "converters/FilterOmegaToMatrix.h"

namespace Kavelin::OrientationInternal {

FilterOmegaToMatrix::FilterOmegaToMatrix(const std::string& name) : Filter(name, true) {}

void FilterOmegaToMatrix::process() {
    if (!omega_.readNext()) return;
    if (!omega_.fits()) return;
    rotation_.value() = integrator_.advance(firstThree(omega_.value()), omega_.lastTimeStamp());
    rotation_.send(omega_.lastTimeStamp());
}

}  // namespace Kavelin::OrientationInternal
