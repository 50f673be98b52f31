#include "orientation/detection/OrientationQualityComputer.h"

#include <cmath>

#include "attitude/rotation/VectorLength.h"

namespace Kavelin::OrientationInternal {

void OrientationQualityComputer::requestReference() {
    acceleration_.requested = true;
    field_.requested = true;
    angleRequested_ = true;
}

double OrientationQualityComputer::judgeAcceleration(const Vector3& acceleration, double tolerance) {
    return judge(acceleration, acceleration_, tolerance);
}

double OrientationQualityComputer::judgeField(const Vector3& field, double tolerance) {
    return judge(field, field_, tolerance);
}

double OrientationQualityComputer::judge(const Vector3& vector, Reference& reference, double tolerance) {
    const double norm = lengthOf(vector);
    if (reference.requested) reference = {false, vector, norm};
    return std::abs(norm - reference.norm) / reference.norm <= tolerance ? 1.0 : 0.0;
}

double OrientationQualityComputer::judgeRate(const Vector3& rate, double limit) {
    const bool saturated =
        std::abs(rate.x()) > limit || std::abs(rate.y()) > limit || std::abs(rate.z()) > limit;
    return saturated ? 0.0 : 1.0;
}

void OrientationQualityComputer::captureAngle() {
    if (!angleRequested_) return;
    angle_ = std::acos(dotInOrder(field_.vector, acceleration_.vector) / acceleration_.norm / field_.norm);
    angleRequested_ = false;
}

}  // namespace Kavelin::OrientationInternal
