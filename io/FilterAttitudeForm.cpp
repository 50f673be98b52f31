#include "io/FilterAttitudeForm.h"

#include "attitude/rotation/Euler.h"
#include "attitude/rotation/QuaternionAlgebra.h"
#include "io/AttitudeSample.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::eulerZyx;
using OrientationInternal::kRadiansToDegrees;
using OrientationInternal::quaternionToRotation;

FilterAttitudeForm::FilterAttitudeForm(const std::string& name) : Filter(name, true) {}

void FilterAttitudeForm::process() {
    if (!attitude_.readNext() || !attitude_.fits()) return;
    const std::optional<Quaternion> q = attitudeOf(attitude_.value());
    if (!q) return;
    const double t = attitude_.lastTimeStamp();
    if (quaternion_.isAttached()) {
        quaternion_.value() = q->transpose();
        quaternion_.send(t);
    }
    if (matrix_.isAttached()) {
        matrix_.value() = quaternionToRotation(*q);
        matrix_.send(t);
    }
    if (euler_.isAttached()) {
        euler_.value() = (eulerZyx(*q) * kRadiansToDegrees).transpose();
        euler_.send(t);
    }
}

}  // namespace Kavelin::RecordingIO
