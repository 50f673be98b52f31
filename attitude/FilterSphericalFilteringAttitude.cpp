#include "attitude/FilterSphericalFilteringAttitude.h"

#include <algorithm>
#include <limits>

namespace Kavelin::OrientationInternal {

namespace {

constexpr double kLongestHold = 0.1;  // s; in a longer time a hand has turned the unit
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

}  // namespace

FilterSphericalFilteringAttitude::FilterSphericalFilteringAttitude(const std::string& name)
    : Filter(name, true) {}

void FilterSphericalFilteringAttitude::process() {
    if (!takeRate()) return;
    double t = std::max(rate_.lastTimeStamp(), newest_.time);
    const Eigen::Vector3d field = takeField(t);
    if (!rate_.fits() || !newest_.isUsable) return;
    computer_.setSettings(settings());
    if (!computer_.advance(t, newest_.acceleration, Eigen::Vector3d::Map(rate_.value().data()), field)) {
        return;
    }
    send(t);
}

/// Takes the next rate and the acceleration of the same time. Where that is missing, the newest one stands in
/// for a while, so that a lost sample does not look like the end of a rest.
bool FilterSphericalFilteringAttitude::takeRate() {
    using Taken = Core::StampMatcher::Taken;
    // Nothing can begin without an acceleration.
    const Taken taken = matcher_.take(rate_, acc_, acc_.hasValue());
    if (taken == Taken::kPair) takeAcceleration();
    if (taken == Taken::kFirst && !(rate_.lastTimeStamp() - newest_.time <= kLongestHold))
        newest_.acceleration.setConstant(kNone);
    return taken != Taken::kNothing;
}

void FilterSphericalFilteringAttitude::takeAcceleration() {
    newest_.time = acc_.lastTimeStamp();
    newest_.isUsable = acc_.fits();
    if (newest_.isUsable) newest_.acceleration = Eigen::Vector3d::Map(acc_.value().data());
}

/// The field sample that goes with a pair of time `t`; NaN where there is none. `t` becomes the largest of
/// the three times. Of several fields that are not later than the pair the newest counts: otherwise a
/// magnetometer that is faster than the others, or that went on while they paused,
/// would lag behind them for ever.
Eigen::Vector3d FilterSphericalFilteringAttitude::takeField(double& t) {
    Eigen::Vector3d field = Eigen::Vector3d::Constant(std::numeric_limits<double>::quiet_NaN());
    const double pairTime = t;
    bool isOlder = true;
    while (isOlder && field_.readNext()) {
        t = std::max(t, field_.lastTimeStamp());
        if (field_.fits()) field = Eigen::Vector3d::Map(field_.value().data());
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
