#include "io/FilterSegment.h"

#include <Poco/Exception.h>

#include <cmath>

#include "attitude/rotation/AngleConstants.h"
#include "attitude/rotation/QuaternionAlgebra.h"
#include "io/AttitudeSample.h"

namespace Kavelin::RecordingIO {

namespace {

constexpr double kSmallestNorm = 1e-5;

bool isRotation(const Quaternion& q) { return q.allFinite() && q.norm() >= kSmallestNorm; }

}  // namespace

FilterSegment::FilterSegment(const std::string& name) : Filter(name, true) {}

void FilterSegment::onMounting(const Matrix& mounting) {
    if (mounting.rows() != 1 || mounting.cols() != 4 ||
        !isRotation(Eigen::Map<const Quaternion>(mounting.data()))) {
        throw Poco::DataFormatException(
            "Mounting is a quaternion, w, x, y, z, in a row: 1x4, finite and not zero");
    }
    q_sensor_segment_ = Eigen::Map<const Quaternion>(mounting.data()).normalized();
}

void FilterSegment::onHeading(const double& degrees) {
    const double half = degrees * OrientationInternal::kDegreesToRadians / 2;
    turn_ = {std::cos(half), 0.0, 0.0, std::sin(half)};
}

void FilterSegment::process() {
    if (!attitude_.readNext() || !attitude_.fits()) return;
    const std::optional<Quaternion> q = attitudeOf(attitude_.value());
    if (!q || !isRotation(*q)) return;
    using OrientationInternal::quaternionProduct;
    segment_.value() =
        quaternionProduct(quaternionProduct(turn_, q->normalized()), q_sensor_segment_).transpose();
    segment_.send(attitude_.lastTimeStamp());
}

}  // namespace Kavelin::RecordingIO
