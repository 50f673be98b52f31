#include "converters/FilterOmegaToMatrix.h"

namespace Kavelin::OrientationInternal {

FilterOmegaToMatrix::FilterOmegaToMatrix(const std::string& name) : Filter(name, true) {}

void FilterOmegaToMatrix::process() {
    if (!omega_.readNext()) return;
    const Matrix& omega = omega_.value();
    if (omega.rows() != 1 || omega.cols() != 3) return;
    rotation_.value() = integrator_.advance(firstThree(omega), omega_.lastTimeStamp());
    rotation_.send(omega_.lastTimeStamp());
}

}  // namespace Kavelin::OrientationInternal
