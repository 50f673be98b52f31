#include "orientation/FilterChangeOfBasis.h"

namespace Kavelin::OrientationInternal {

FilterChangeOfBasis::FilterChangeOfBasis(const std::string& name) : Filter(name, true) {}

void FilterChangeOfBasis::process() {
    if (!in_.readNext() || !in_.fits()) return;
    takeBasis();
    if (!hasBasis_) {
        out_.value() = in_.value();
    } else if (!computer_.apply(firstNine(in_.value()), out_.value())) {
        return;
    }
    out_.send(in_.lastTimeStamp());
}

void FilterChangeOfBasis::takeBasis() {
    if (!basis_.readNext()) return;
    hasBasis_ = true;
    if (basis_.value().size() == 9) {
        computer_.setOrthonormalBasis(basis_.value());
    } else {
        computer_.setGeneralBasis(basis_.value());
    }
}

}  // namespace Kavelin::OrientationInternal
