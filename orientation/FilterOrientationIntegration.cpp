#include "orientation/FilterOrientationIntegration.h"

#include <algorithm>

#include "orientation/TakeVector.h"
#include "orientation/integration/QuaternionIntegration.h"

namespace Kavelin::OrientationInternal {

namespace {

/// The first four elements of a sample in storage order; missing ones count as 0.0.
Quaternion firstFour(const Matrix& sample) {
    Quaternion q = Quaternion::Zero();
    std::copy_n(sample.data(), std::min<Eigen::Index>(sample.size(), 4), q.data());
    return q;
}

}  // namespace

FilterOrientationIntegration::FilterOrientationIntegration(const std::string& name) : Filter(name, true) {}

void FilterOrientationIntegration::process() {
    takeResetRequest();
    double t = 0.0;
    const auto rate = takeVector(rate_, t);
    if (!rate) return;
    if (restart_) {
        start();
    } else {
        integrate(*rate, t);
    }
    quaternion_.value() /= quaternion_.value().norm();
    previousTime_ = t;
    previousRate_ = *rate;
    quaternion_.send(t);
}

void FilterOrientationIntegration::takeResetRequest() {
    if (!resetPin_.readNext()) return;
    const Matrix& sample = resetPin_.value();
    if (sample.size() > 0 && sample.data()[0] != 0.0) restart_ = true;  // a NaN counts as a request
}

void FilterOrientationIntegration::start() {
    restart_ = false;
    if (initial_.readNext() && initial_.fits()) {
        quaternion_.value() = initial_.value();
    } else {
        quaternion_.value() = Quaternion(1, 0, 0, 0).transpose();
    }
}

void FilterOrientationIntegration::integrate(const Vector3& rate, double t) {
    Quaternion q = firstFour(quaternion_.value());
    if (previous_.readNext() && previous_.fits()) {
        q = firstFour(previous_.value());
    }
    const double dt = t - previousTime_;
    q = order_.get() == 0 ? integrateConstantRate(q, rate, dt)
                          : integrateLinearRate(q, previousRate_, rate, dt);
    quaternion_.value() = q.transpose();
}

}  // namespace Kavelin::OrientationInternal
