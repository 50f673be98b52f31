#include "cli/fuse/VerdictProbe.h"

#include <algorithm>
#include <limits>

namespace Kavelin::Cli {

using OrientationInternal::firstNine;
using OrientationInternal::firstThree;
using OrientationInternal::Matrix;
using RecordingIO::Quaternion;
using RecordingIO::ResultSample;
using RecordingIO::Vector3;

namespace {

using Input = OrientationInternal::InputPin<Matrix>;

/// The newest sample of a pin, of that many elements.  @return null where nothing came.
const Matrix* newest(Input& pin, Eigen::Index size, double& t) {
    bool hasCome = false;
    while (pin.readNext()) hasCome = true;
    if (!hasCome || pin.value().size() != size) return nullptr;
    t = std::max(t, pin.lastTimeStamp());
    return &pin.value();
}

void take(Input& pin, std::optional<Vector3>& into, double& t) {
    if (const Matrix* value = newest(pin, 3, t)) into = firstThree(*value);
}

void take(Input& pin, std::optional<bool>& into, double& t) {
    if (const Matrix* value = newest(pin, 1, t)) into = (*value)(0, 0) != 0.0;
}

std::optional<Quaternion> attitudeOf(Input& pin, double& t) {
    bool hasCome = false;
    while (pin.readNext()) hasCome = true;
    if (!hasCome) return std::nullopt;
    t = std::max(t, pin.lastTimeStamp());
    const Matrix& value = pin.value();
    if (value.size() == 4) return Quaternion(value.data());
    if (value.size() != 9) return std::nullopt;
    const OrientationInternal::Matrix3 rotation = firstNine(value);
    return OrientationInternal::fromEigen(Eigen::Quaterniond(rotation));
}

}  // namespace

void VerdictProbe::process() {
    ResultSample sample;
    double t = -std::numeric_limits<double>::infinity();
    take(acceleration_, sample.acceleration, t);
    take(rate_, sample.rate, t);
    take(field_, sample.field, t);
    take(bias_, sample.bias, t);
    take(hardIron_, sample.hardIron, t);
    take(rest_, sample.isAtRest, t);
    take(disturbed_, sample.isDisturbed, t);
    take(body_, sample.hasBodyMagnet, t);
    if (const Matrix* sigma = newest(sigma_, 2, t)) {
        sample.tiltSigma = sigma->data()[0];
        sample.headingSigma = sigma->data()[1];
    }
    sample.attitude = attitudeOf(attitude_, t);
    sample.t = t;
    if (std::isfinite(t)) collector_.add(sample);
}

}  // namespace Kavelin::Cli
