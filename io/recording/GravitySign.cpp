#include "io/recording/GravitySign.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "attitude/rotation/AngleConstants.h"

namespace Kavelin::RecordingIO {

namespace {

const std::uint64_t kFewest = 20;  // samples, to say anything
const double kClearly = -0.5;      // mean cosine

}  // namespace

void GravitySign::addField(const Eigen::Vector3d& acceleration, const Eigen::Vector3d& field) {
    const double lengths = std::sqrt(acceleration.squaredNorm() * field.squaredNorm());
    if (!(lengths > 0.0)) return;
    fieldSum_ += acceleration.dot(field) / lengths;
    ++fields_;
}

void GravitySign::addAttitude(const Eigen::Vector3d& acceleration, const Eigen::Quaterniond& attitude) {
    const double length = acceleration.norm();
    if (!(length > 0.0) || !(attitude.norm() > 0.5)) return;
    upSum_ += (attitude.normalized() * acceleration).z() / length;
    ++attitudes_;
}

bool GravitySign::isAgainstAttitude() const {
    return attitudes_ >= kFewest && upSum_ < kClearly * static_cast<double>(attitudes_);
}

double GravitySign::dip() const {
    if (fields_ < kFewest) return std::numeric_limits<double>::quiet_NaN();
    const double sine = std::clamp(fieldSum_ / static_cast<double>(fields_), -1.0, 1.0);
    return -std::asin(sine) * OrientationInternal::kRadiansToDegrees;
}

}  // namespace Kavelin::RecordingIO
