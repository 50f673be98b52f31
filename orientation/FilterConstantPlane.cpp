#include "orientation/FilterConstantPlane.h"

namespace Kavelin::OrientationInternal {

FilterConstantPlane::FilterConstantPlane(const std::string& name) : Filter(name, true) {}

void FilterConstantPlane::process() {
    if (!mag_.readNext()) return;
    if (!mag_.fits()) return;
    const Vector3 field = firstThree(mag_.value());
    const Vector3 axis = axisForThisSample(field);
    if (referenceRequested_) plane_.resetReference(field);
    referenceRequested_ = false;
    const double angle = plane_.angle(field);
    angle_.value()(0, 0) = angle;
    attitude_.value() = AbsoluteAttitudeComputer::axisAngleToRotation(angle, axis);
    angle_.send(mag_.lastTimeStamp());
    attitude_.send(mag_.lastTimeStamp());
}

/// Reads the normal, and sets the plane if the normal was written since the last sample. Deliberate: the axis
/// has unit length only in the call that sets the plane; in other calls it is as long as the properties say.
/// With a normal of another length, "attitude" is then not a rotation.
/// The angle does not depend on the length.
Vector3 FilterConstantPlane::axisForThisSample(const Vector3& field) {
    Vector3 axis(planeX_.get(), planeY_.get(), planeZ_.get());
    if (!planeChanged_) return axis;
    planeChanged_ = false;
    const double squaredNorm = axis.squaredNorm();
    if (!(squaredNorm >= kMinimumSquaredNorm)) return axis;  // the plane stays as it was
    axis *= AbsoluteAttitudeComputer::invSqrt(squaredNorm);
    plane_.setPlane(axis, field);
    return axis;
}

}  // namespace Kavelin::OrientationInternal
