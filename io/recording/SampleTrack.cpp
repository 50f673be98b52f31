#include "io/recording/SampleTrack.h"

#include <cmath>
#include <utility>

#include "attitude/rotation/Slerp.h"

namespace Kavelin::RecordingIO {

using Core::Matrix;
using OrientationInternal::Matrix3;
using OrientationInternal::Quaternion;
using OrientationInternal::slerp;

namespace {

constexpr double kUnit = 1e-2;  // tolerance: a matrix or quaternion further off is not a rotation

bool isQuaternion(const Matrix& value) {
    return value.rows() == 1 && value.cols() == 4 && std::abs(value.norm() - 1.0) < kUnit;
}

bool isRotation(const Matrix& value) {
    if (value.rows() != 3 || value.cols() != 3) return false;
    const Matrix3 rotation = Matrix3::Map(value.data());
    return (rotation * rotation.transpose() - Matrix3::Identity()).cwiseAbs().maxCoeff() < kUnit &&
           rotation.determinant() > 0.0;
}

Quaternion quaternionOf(const Matrix& rotation) {
    const Eigen::Quaterniond q(Matrix3(Matrix3::Map(rotation.data())));
    return Quaternion(q.w(), q.x(), q.y(), q.z()).normalized();
}

void interpolate(const Matrix& a, const Matrix& b, double share, Matrix& value) {
    if (isQuaternion(a) && isQuaternion(b)) {
        value.resize(1, 4);
        Quaternion::Map(value.data()) =
            slerp(Quaternion::Map(a.data()).normalized(), Quaternion::Map(b.data()).normalized(), share);
    } else if (isRotation(a) && isRotation(b)) {
        const Quaternion q = slerp(quaternionOf(a), quaternionOf(b), share);
        value.resize(3, 3);
        Matrix3::Map(value.data()) = Eigen::Quaterniond(q[0], q[1], q[2], q[3]).toRotationMatrix();
    } else {
        value = a + share * (b - a);
    }
}

}  // namespace

bool SampleTrack::add(double time, const Matrix& value) {
    if (!std::isfinite(time) || (hasAfter_ && !(time > after_.time))) return false;
    std::swap(before_, after_);
    hasBefore_ = hasAfter_;
    after_.time = time;
    after_.value = value;
    hasAfter_ = true;
    return true;
}

SampleTrack::At SampleTrack::between(double time, double greatestGap, Matrix& value) const {
    if (!hasAfter_ || after_.time < time) return At::kLater;
    if (after_.time == time || (hasBefore_ && before_.time == time)) {
        value = after_.time == time ? after_.value : before_.value;
        return At::kValue;
    }
    const double step = after_.time - before_.time;
    if (!hasBefore_ || before_.time > time || step > greatestGap) return At::kMissing;
    if (before_.value.rows() != after_.value.rows() || before_.value.cols() != after_.value.cols())
        return At::kMissing;
    interpolate(before_.value, after_.value, (time - before_.time) / step, value);
    return At::kValue;
}

SampleTrack::At SampleTrack::newest(double time, double greatestGap, Matrix& value) const {
    const bool isAfter = hasAfter_ && after_.time <= time;
    const bool isBefore = !isAfter && hasBefore_ && before_.time <= time;
    const Sample& sample = isAfter ? after_ : before_;
    if ((!isAfter && !isBefore) || time - sample.time > greatestGap) return At::kMissing;
    value = sample.value;
    return At::kValue;
}

}  // namespace Kavelin::RecordingIO
