#include "io/FilterRangeShare.h"

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::RecordingIO {

FilterRangeShare::FilterRangeShare(const std::string& name) : Filter(name, true) {}

void FilterRangeShare::process() {
    if (!rate_.readNext() || !rate_.fits()) return;
    const double range = clipping_.level() > 0.0 ? clipping_.level() : range_.get();
    share_.value() = rate_.value() / range;
    clipping_.add(OrientationInternal::firstThree(rate_.value()));
    share_.send(rate_.lastTimeStamp());
}

}  // namespace Kavelin::RecordingIO
