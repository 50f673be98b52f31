#include "attitude/FilterSphericalFilteringAttitude.h"

#include <algorithm>
#include <limits>

namespace Kavelin::OrientationInternal {

namespace {

bool isRow3(const Matrix& sample) { return sample.rows() == 1 && sample.cols() == 3; }

}  // namespace

FilterSphericalFilteringAttitude::FilterSphericalFilteringAttitude(const std::string& name)
    : Filter(name, true) {}

void FilterSphericalFilteringAttitude::process() {
    if (!rate_.fetch() || !acc_.fetch()) return;
    rate_.consume();
    acc_.consume();
    double t = std::max(rate_.lastTimeStamp(), acc_.lastTimeStamp());
    const Eigen::Vector3d field = takeField(t);
    if (!isRow3(rate_.value()) || !isRow3(acc_.value())) return;
    computer_.setSettings(settings());
    if (!computer_.advance(t, Eigen::Vector3d::Map(acc_.value().data()),
                           Eigen::Vector3d::Map(rate_.value().data()), field)) {
        return;
    }
    send(t);
}

/// The field sample that goes with a pair of time `t`, which becomes the largest of the three; not a number
/// where there is none. Of several that are no later than the pair the newest counts: a magnetometer that is
/// faster than the others, or that went on while they paused, would otherwise lag behind them for ever.
Eigen::Vector3d FilterSphericalFilteringAttitude::takeField(double& t) {
    Eigen::Vector3d field = Eigen::Vector3d::Constant(std::numeric_limits<double>::quiet_NaN());
    const double pairTime = t;
    bool isOlder = true;
    while (isOlder && field_.readNext()) {
        t = std::max(t, field_.lastTimeStamp());
        if (isRow3(field_.value())) field = Eigen::Vector3d::Map(field_.value().data());
        isOlder = field_.fetch() && field_.heldTimeStamp() <= pairTime;
    }
    if (!useField_.get()) field.setConstant(std::numeric_limits<double>::quiet_NaN());
    return field;
}

SphericalAttitudeComputer::Settings FilterSphericalFilteringAttitude::settings() const {
    return {.gravityTimeConstant = gravityTime_.get(),
            .fieldNoise = fieldNoise_.get(),
            .rest = {.rateLimit = restRate_.get(),
                     .accelerationLimit = restAcceleration_.get(),
                     .biasLimit = biasLimit_.get(),
                     .duration = restTime_.get()}};
}

void FilterSphericalFilteringAttitude::send(double t) {
    const Eigen::Quaterniond& q = computer_.attitude();
    attitudeQ_.value() << q.w(), q.x(), q.y(), q.z();
    attitude_.value() = q.toRotationMatrix();
    bias_.value() = computer_.bias().transpose();
    properAcceleration_.value() = computer_.properAcceleration().transpose();
    restFlag_.value()(0, 0) = computer_.atRest() ? 1.0 : 0.0;
    fieldFlag_.value()(0, 0) = computer_.fieldDisturbed() ? 1.0 : 0.0;
    attitudeQ_.send(t);
    attitude_.send(t);
    bias_.send(t);
    properAcceleration_.send(t);
    restFlag_.send(t);
    fieldFlag_.send(t);
}

}  // namespace Kavelin::OrientationInternal
