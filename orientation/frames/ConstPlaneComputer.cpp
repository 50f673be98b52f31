#include "orientation/frames/ConstPlaneComputer.h"

#include <cmath>

namespace Kavelin::OrientationInternal {

void ConstPlaneComputer::setPlane(const Vector3& normal, const Vector3& vector) {
    normal_ = normal / normal.norm();
    const Vector3 projection = vector - normal_.dot(vector) * normal_;
    firstAxis_ = projection / projection.norm();
    secondAxis_ = normal_.cross(firstAxis_);
}

double ConstPlaneComputer::angle(const Vector3& vector) const {
    const double a = firstAxis_.dot(vector);
    const double b = secondAxis_.dot(vector);
    const double r = std::sqrt(a * a + b * b);
    return -std::atan2(b / r, a / r);
}

}  // namespace Kavelin::OrientationInternal
